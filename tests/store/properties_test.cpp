#include "store/storage_codes.h"
#include "tests/store/store_fixture.h"

namespace host::test {
namespace {

constexpr std::uint32_t large_tag = 0x66010102;

class Properties : public StoreTest
{
protected:
    void SetUp() override
    {
        stored->properties->set(PR_SUBJECT_W, property_value::of_text(L"Schedule"));
        stored->properties->set(PR_INTERNET_CPID, property_value::of_long(65001));
        stored->properties->set(PR_MESSAGE_DELIVERY_TIME, property_value::of_time(133000000000000000));
        stored->properties->set(PR_ENTRYID, property_value::of_binary(bytes_of(std::string("\x01\0\xFF", 3))));
    }
};

TEST_F(Properties, GiveEachTypeInItsOwnField)
{
    const auto message = open();
    const auto got =
        get_props(message.get(), {PR_SUBJECT_W, PR_INTERNET_CPID, PR_MESSAGE_DELIVERY_TIME, PR_ENTRYID, PR_HASATTACH});
    ASSERT_EQ(S_OK, got.result);
    ASSERT_EQ(5U, got.count);
    EXPECT_STREQ(L"Schedule", got[0].Value.lpszW);
    EXPECT_EQ(65001, got[1].Value.l);
    EXPECT_EQ(133000000000000000, got[2].Value.li.QuadPart);
    ASSERT_EQ(3U, got[3].Value.bin.cb);
    EXPECT_EQ(0xFF, got[3].Value.bin.lpb[2]);
    EXPECT_EQ(0, got[4].Value.b);
}

TEST_F(Properties, AnswerAnAbsentOneWithAnErrorEntryAndAWarning)
{
    const auto message = open();
    const auto got = get_props(message.get(), {PR_SENDER_NAME_W, PR_SUBJECT_W});
    EXPECT_EQ(MAPI_W_ERRORS_RETURNED, got.result);
    EXPECT_EQ(PROP_TAG(PT_ERROR, PROP_ID(PR_SENDER_NAME_W)), got[0].ulPropTag);
    EXPECT_EQ(MAPI_E_NOT_FOUND, got[0].Value.err);
    EXPECT_EQ(PR_SUBJECT_W, got[1].ulPropTag);
}

TEST_F(Properties, ConvertStringsToTheTypeThatIsAskedFor)
{
    const auto message = open();
    const auto got = get_props(message.get(), {CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_STRING8)});
    EXPECT_EQ(S_OK, got.result);
    EXPECT_STREQ("Schedule", got[0].Value.lpszA);
}

TEST_F(Properties, GiveUnspecifiedStringsByTheUnicodeFlag)
{
    const auto message = open();
    const std::uint32_t unspecified = CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_UNSPECIFIED);
    EXPECT_EQ(PR_SUBJECT_W, get_props(message.get(), {unspecified}, MAPI_UNICODE)[0].ulPropTag);
    const auto narrow = get_props(message.get(), {unspecified}, 0);
    EXPECT_EQ(CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_STRING8), narrow[0].ulPropTag);
    EXPECT_STREQ("Schedule", narrow[0].Value.lpszA);
    const std::uint32_t number = CHANGE_PROP_TYPE(PR_INTERNET_CPID, PT_UNSPECIFIED);
    EXPECT_EQ(PR_INTERNET_CPID, get_props(message.get(), {number}, 0)[0].ulPropTag);
}

TEST_F(Properties, OfAnotherTypeThanStoredAreNotFound)
{
    const auto message = open();
    const auto got = get_props(message.get(), {CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_LONG)});
    EXPECT_EQ(MAPI_W_ERRORS_RETURNED, got.result);
    EXPECT_EQ(MAPI_E_NOT_FOUND, got[0].Value.err);
}

TEST_F(Properties, AboveTheLimitOpenOnlyAsAStream)
{
    const std::uint64_t limit = stored->store->rules.large_value;
    stored->properties->set(large_tag, property_value::of_binary(bytes_of(std::string(limit, 'x'))));
    EXPECT_EQ(S_OK, get_props(open().get(), {large_tag}).result);
    stored->properties->set(large_tag, property_value::of_binary(bytes_of(std::string(limit + 1, 'x'))));
    const auto message = open();
    const auto got = get_props(message.get(), {large_tag});
    EXPECT_EQ(MAPI_W_ERRORS_RETURNED, got.result);
    EXPECT_EQ(MAPI_E_NOT_ENOUGH_MEMORY, got[0].Value.err);
    EXPECT_EQ(limit + 1, size_of(open_stream(message.get(), large_tag, 0).get()));
}

TEST_F(Properties, AreAsLargeOnEverySystem)
{
    const std::wstring text = from_utf16le({"a\0\x3D\xD8\0\xDE", 6}); // a letter, and a surrogate pair
    EXPECT_EQ(8U, property_value::of_text(text).size());
    EXPECT_EQ(16U, (property_value{PT_UNICODE | MV_FLAG, std::vector<std::wstring>{text, text}}).size());
}

TEST_F(Properties, ComeAllTogetherWithoutATagArray)
{
    const auto got = get_props(open().get(), {});
    EXPECT_EQ(S_OK, got.result);
    EXPECT_EQ(6U, got.count); // the four, and the two that are derived from the message
}

TEST_F(Properties, RefuseBrokenRequests)
{
    const auto message = open();
    ULONG count = 0;
    SPropValue* values = nullptr;
    tag_list none{};
    tag_list one{PR_SUBJECT_W};
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, message->GetProps(none.get(), 0, &count, &values));
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, message->GetProps(one.get(), 0, nullptr, &values));
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, message->GetProps(one.get(), 0, &count, nullptr));
    EXPECT_EQ(MAPI_E_UNKNOWN_FLAGS, message->GetProps(one.get(), 0x40, &count, &values));
    EXPECT_EQ(nullptr, values);
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, message->SetProps(0, nullptr, nullptr));
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, message->DeleteProps(none.get(), nullptr));
}

TEST_F(Properties, ListTheirTags)
{
    const auto message = open();
    SPropTagArray* tags = nullptr;
    ASSERT_EQ(S_OK, message->GetPropList(MAPI_UNICODE, &tags));
    const MapiBuffer<SPropTagArray> owner(tags);
    const std::vector<std::uint32_t> found(tags->aulPropTag, tags->aulPropTag + tags->cValues);
    EXPECT_THAT(found, testing::IsSupersetOf({std::uint32_t{PR_SUBJECT_W}, std::uint32_t{PR_INTERNET_CPID},
                                              std::uint32_t{PR_ENTRYID}, std::uint32_t{PR_HASATTACH}}));
}

TEST_F(Properties, AreSetAndDeletedByIdentifierWhateverTheType)
{
    const auto message = open();
    SPropValue subject = text_value(PR_SUBJECT_W, L"New");
    EXPECT_EQ(S_OK, message->SetProps(1, &subject, nullptr));
    EXPECT_STREQ(L"New", get_props(message.get(), {PR_SUBJECT_W})[0].Value.lpszW);
    tag_list narrow{CHANGE_PROP_TYPE(PR_SUBJECT_W, PT_STRING8)};
    EXPECT_EQ(S_OK, message->DeleteProps(narrow.get(), nullptr));
    EXPECT_EQ(MAPI_W_ERRORS_RETURNED, get_props(message.get(), {PR_SUBJECT_W}).result);
}

TEST_F(Properties, ReportWhatCannotBeSetAndSetTheRest)
{
    const auto message = open();
    SPropValue values[3] = {long_value(PROP_TAG(PT_BOOLEAN, PROP_ID(PR_HASATTACH)), 1),
                            long_value(PROP_TAG(PT_OBJECT, 0x6602), 0), text_value(PR_SENDER_NAME_W, L"Ngozi")};
    SPropProblemArray* problems = nullptr;
    ASSERT_EQ(S_OK, message->SetProps(3, values, &problems));
    const MapiBuffer<SPropProblemArray> owner(problems);
    ASSERT_NE(nullptr, problems);
    ASSERT_EQ(2U, problems->cProblem);
    EXPECT_EQ(0U, problems->aProblem[0].ulIndex);
    EXPECT_EQ(MAPI_E_COMPUTED, problems->aProblem[0].scode);
    EXPECT_EQ(MAPI_E_UNEXPECTED_TYPE, problems->aProblem[1].scode);
    EXPECT_STREQ(L"Ngozi", get_props(message.get(), {PR_SENDER_NAME_W})[0].Value.lpszW);
}

TEST_F(Properties, ReportTheDeletionOfAnAbsentOne)
{
    const auto message = open();
    tag_list tags{PR_SENDER_NAME_W, PR_SUBJECT_W};
    SPropProblemArray* problems = nullptr;
    ASSERT_EQ(S_OK, message->DeleteProps(tags.get(), &problems));
    const MapiBuffer<SPropProblemArray> owner(problems);
    ASSERT_EQ(1U, problems->cProblem);
    EXPECT_EQ(MAPI_E_NOT_FOUND, problems->aProblem[0].scode);
}

TEST_F(Properties, HoldMultipleValues)
{
    const auto message = open();
    wchar_t first[] = L"red";
    wchar_t second[] = L"blue";
    wchar_t* words[] = {first, second};
    SPropValue value{};
    value.ulPropTag = PROP_TAG(MV_FLAG | PT_UNICODE, 0x6603);
    value.Value.MVszW.cValues = 2;
    value.Value.MVszW.lppszW = words;
    ASSERT_EQ(S_OK, message->SetProps(1, &value, nullptr));
    const auto got = get_props(message.get(), {PROP_TAG(MV_FLAG | PT_UNICODE, 0x6603)});
    ASSERT_EQ(2U, got[0].Value.MVszW.cValues);
    EXPECT_STREQ(L"blue", got[0].Value.MVszW.lppszW[1]);
}

TEST_F(Properties, ReachTheStoreOnlyWithSaveChanges)
{
    const auto message = open();
    SPropValue subject = text_value(PR_SUBJECT_W, L"Changed");
    EXPECT_EQ(S_OK, message->SetProps(1, &subject, nullptr));
    EXPECT_EQ(L"Schedule", stored->properties->find(PROP_ID(PR_SUBJECT_W))->wide());
    EXPECT_EQ(L"Changed", message->current().properties->find(PROP_ID(PR_SUBJECT_W))->wide());
    EXPECT_EQ(S_OK, message->SaveChanges(0));
    EXPECT_EQ(L"Changed", stored->properties->find(PROP_ID(PR_SUBJECT_W))->wide());
    EXPECT_EQ(S_OK, message->SaveChanges(KEEP_OPEN_READWRITE));
    EXPECT_EQ(2, saves);
}

TEST_F(Properties, OfAReadOnlyObjectDoNotChange)
{
    const auto message = open(false);
    SPropValue subject = text_value(PR_SUBJECT_W, L"Changed");
    tag_list tags{PR_SUBJECT_W};
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->SetProps(1, &subject, nullptr));
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->DeleteProps(tags.get(), nullptr));
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->SaveChanges(0));
    HRESULT result = S_OK;
    EXPECT_EQ(nullptr, open_stream(message.get(), PR_HTML, MAPI_MODIFY | MAPI_CREATE, &result));
    EXPECT_EQ(MAPI_E_NO_ACCESS, result);
}

TEST_F(Properties, AreNotCopied)
{
    const auto message = open();
    const auto other = open();
    auto* target = static_cast<IMessage*>(other.get());
    EXPECT_EQ(MAPI_E_NO_SUPPORT, message->CopyTo(0, nullptr, nullptr, 0, nullptr, &IID_IMessage, target, 0, nullptr));
    tag_list tags{PR_SUBJECT_W};
    EXPECT_EQ(MAPI_E_NO_SUPPORT, message->CopyProps(tags.get(), 0, nullptr, &IID_IMessage, target, 0, nullptr));
}

TEST_F(Properties, AnswerOnlyTheirInterfaces)
{
    const auto message = open();
    ComPtr<IUnknown> found;
    EXPECT_EQ(S_OK, message->QueryInterface(IID_IMessage, Receive(found)));
    EXPECT_EQ(S_OK, message->QueryInterface(IID_IMAPIProp, Receive(found)));
    EXPECT_EQ(S_OK, message->QueryInterface(IID_IUnknown, Receive(found)));
    EXPECT_EQ(E_NOINTERFACE, message->QueryInterface(IID_IAttachment, Receive(found)));
    EXPECT_EQ(nullptr, found);
    EXPECT_EQ(E_NOINTERFACE, message->QueryInterface(IID_ISecuredMessage, Receive(found)));
}

constexpr GUID own_set{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};

class NamedProperties : public StoreTest
{
protected:
    NamedProperties()
    {
        number_.lpguid = &set_;
        number_.ulKind = MNID_ID;
        number_.Kind.lID = 1;
        text_.lpguid = &headers_;
        text_.ulKind = MNID_STRING;
        text_.Kind.lpwstrName = name_;
    }
    std::vector<std::uint32_t> ids(IMessage* message, std::vector<MAPINAMEID*> names, ULONG flags, HRESULT expected)
    {
        SPropTagArray* tags = nullptr;
        EXPECT_EQ(expected, message->GetIDsFromNames(static_cast<ULONG>(names.size()), names.data(), flags, &tags));
        const MapiBuffer<SPropTagArray> owner(tags);
        return tags ? std::vector<std::uint32_t>(tags->aulPropTag, tags->aulPropTag + tags->cValues)
                    : std::vector<std::uint32_t>{};
    }

    GUID set_ = own_set;
    GUID headers_ = PS_INTERNET_HEADERS;
    wchar_t name_[13] = L"content-type";
    MAPINAMEID number_{};
    MAPINAMEID text_{};
};

TEST_F(NamedProperties, AreUnknownUntilCreated)
{
    const auto message = open();
    EXPECT_EQ(std::vector<std::uint32_t>{PT_ERROR}, ids(message.get(), {&number_}, 0, MAPI_W_ERRORS_RETURNED));
    const auto made = ids(message.get(), {&number_, &text_}, MAPI_CREATE, S_OK);
    ASSERT_EQ(2U, made.size());
    EXPECT_GE(PROP_ID(made[0]), 0x8000U);
    EXPECT_NE(PROP_ID(made[0]), PROP_ID(made[1]));
    EXPECT_EQ(PT_UNSPECIFIED, PROP_TYPE(made[0]));
    EXPECT_EQ(made, ids(message.get(), {&number_, &text_}, 0, S_OK));
}

TEST_F(NamedProperties, AreTheSameForAllMessagesOfAStore)
{
    const auto made = ids(open().get(), {&text_}, MAPI_CREATE, S_OK);
    EXPECT_EQ(made, ids(open().get(), {&text_}, 0, S_OK));
}

TEST_F(NamedProperties, TellTheirNames)
{
    const auto message = open();
    const auto made = ids(message.get(), {&number_, &text_}, MAPI_CREATE, S_OK);
    tag_list asked{made[1], PR_SUBJECT_W, made[0]};
    SPropTagArray* tags = asked.get();
    ULONG count = 0;
    MAPINAMEID** names = nullptr;
    EXPECT_EQ(MAPI_W_ERRORS_RETURNED, message->GetNamesFromIDs(&tags, nullptr, 0, &count, &names));
    const MapiBuffer<MAPINAMEID*> owner(names);
    ASSERT_EQ(3U, count);
    EXPECT_STREQ(L"content-type", names[0]->Kind.lpwstrName);
    EXPECT_TRUE(*names[0]->lpguid == PS_INTERNET_HEADERS);
    EXPECT_EQ(nullptr, names[1]); // an identifier below 0x8000 has no name
    EXPECT_EQ(ULONG{MNID_ID}, names[2]->ulKind);
    EXPECT_EQ(1, names[2]->Kind.lID);
}

TEST_F(NamedProperties, AreListedByTheirSet)
{
    const auto message = open();
    const auto made = ids(message.get(), {&number_, &text_}, MAPI_CREATE, S_OK);
    SPropTagArray* tags = nullptr;
    ULONG count = 0;
    MAPINAMEID** names = nullptr;
    EXPECT_EQ(S_OK, message->GetNamesFromIDs(&tags, &set_, 0, &count, &names));
    const MapiBuffer<MAPINAMEID*> name_owner(names);
    const MapiBuffer<SPropTagArray> tag_owner(tags);
    ASSERT_EQ(1U, count);
    EXPECT_EQ(PROP_ID(made[0]), PROP_ID(tags->aulPropTag[0]));
}

TEST_F(NamedProperties, KeepValuesUnderTheirIdentifier)
{
    const auto message = open();
    const std::uint32_t tag = CHANGE_PROP_TYPE(ids(message.get(), {&number_}, MAPI_CREATE, S_OK)[0], PT_LONG);
    SPropValue value = long_value(tag, 2);
    EXPECT_EQ(S_OK, message->SetProps(1, &value, nullptr));
    EXPECT_EQ(2, get_props(message.get(), {tag})[0].Value.l);
}

} // namespace
} // namespace host::test
