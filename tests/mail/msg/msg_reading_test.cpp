// Message files built by the tests: the contents of the record of each, and that writing it again yields the same
// streams.

#include "store/attach_object.h"
#include "store/message_object.h"
#include "store/tags.h"
#include "tests/mail/msg/msg_fixture.h"
#include "tests/store/store_fixture.h"
#include "tool/system/conversions.h"

#include <bit>

namespace host::test {
namespace msg_reading_test {

constexpr GUID some_set{0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID other_set{0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};

std::string le(std::initializer_list<std::uint32_t> numbers)
{
    std::string result;
    for (const std::uint32_t number : numbers) {
        msg::append_u32(result, number);
    }
    return result;
}

std::wstring wide_in(const property_bag& bag, std::uint32_t tag)
{
    return property(bag, tag).wide();
}

class MsgReading : public MsgTest
{};

TEST_F(MsgReading, GivesValuesOfEveryFixedType)
{
    const auto real = std::bit_cast<std::uint64_t>(-2.5);
    const auto file =
        make(plain_message()
                 .entry(0x60000002, 0xFFFE)
                 .entry(0x60010003, 0xFFFFFFFE)
                 .entry(0x60020004, std::bit_cast<std::uint32_t>(1.25F))
                 .entry(0x60030005, static_cast<std::uint32_t>(real), static_cast<std::uint32_t>(real >> 32U))
                 .entry(0x60040006, 7, 1)
                 .entry(0x60050007, static_cast<std::uint32_t>(real), static_cast<std::uint32_t>(real >> 32U))
                 .entry(0x6006000A, 0x8004010F)
                 .entry(0x6007000B, 1)
                 .entry(0x60080014, 9, 0x80000000)
                 .entry(0x60090040, 5, 2)
                 .entry(0x600A0001, 0));
    const message_record record = read(file);
    const property_bag& bag = *record.properties;
    EXPECT_EQ(-2, property(bag, 0x60000002).number());
    EXPECT_EQ(-2, property(bag, 0x60010003).number());
    EXPECT_EQ(1.25, std::get<double>(property(bag, 0x60020004).data));
    EXPECT_EQ(-2.5, std::get<double>(property(bag, 0x60030005).data));
    EXPECT_EQ(0x100000007, property(bag, 0x60040006).number());
    EXPECT_EQ(-2.5, std::get<double>(property(bag, 0x60050007).data));
    EXPECT_EQ(static_cast<std::int32_t>(0x8004010F), property(bag, 0x6006000A).number());
    EXPECT_EQ(1, property(bag, 0x6007000B).number());
    EXPECT_EQ(std::bit_cast<std::int64_t>(0x8000000000000009), property(bag, 0x60080014).number());
    EXPECT_EQ(0x200000005, property(bag, 0x60090040).number());
    EXPECT_EQ(PT_NULL, property(bag, 0x600A0001).type);
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, GivesValuesOfEveryVariableType)
{
    const std::wstring text = L"Größe €";
    const auto file = make(plain_message()
                               .text(0x6100001F, text)
                               .narrow(0x6101001E, "narrow")
                               .value(0x61020102, std::string("a\0b", 3))
                               .value(0x61030048, msg::bytes_of_guid(some_set))
                               .text(0x6104001F, L"")
                               .narrow(0x6105001E, "")
                               .value(0x61060102, ""));
    const message_record record = read(file);
    const property_bag& bag = *record.properties;
    EXPECT_EQ(text, wide_in(bag, 0x6100001F));
    EXPECT_EQ(PT_STRING8, property(bag, 0x6101001E).type);
    EXPECT_EQ(L"narrow", wide_in(bag, 0x6101001E));
    EXPECT_EQ(std::string("a\0b", 3), bytes_in(bag, 0x61020102));
    EXPECT_EQ(some_set, std::get<GUID>(property(bag, 0x61030048).data));
    EXPECT_EQ(L"", wide_in(bag, 0x6104001F));
    EXPECT_EQ(L"", wide_in(bag, 0x6105001E));
    EXPECT_EQ("", bytes_in(bag, 0x61060102));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, TakesTheEndOfATextForNoPartOfIt)
{
    const auto file = make(plain_message()
                               .value(0x6100001F, to_utf16le(std::wstring(L"abc\0", 4)))
                               .value(0x6101001E, std::string("def\0", 4)));
    const message_record record = read(file);
    EXPECT_EQ(L"abc", wide_in(*record.properties, 0x6100001F));
    EXPECT_EQ("def", bytes_in(*record.properties, 0x6101001E));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, TakesAMissingStreamForAnEmptyValueWhenTheSizeSaysSo)
{
    const auto file = make(plain_message().entry(0x6100001F, 2).entry(0x6101001E, 1).entry(0x61020102, 0));
    const message_record record = read(file);
    EXPECT_EQ(L"", wide_in(*record.properties, 0x6100001F));
    EXPECT_EQ(L"", wide_in(*record.properties, 0x6101001E));
    EXPECT_EQ("", bytes_in(*record.properties, 0x61020102));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, GivesListsOfEveryType)
{
    const std::string unicode = to_utf16le(std::wstring(L"one\0", 4));
    const auto file = make(plain_message()
                               .value(0x62001002, std::string("\1\0\xFE\xFF", 4))
                               .value(0x62011003, le({1, 0xFFFFFFFF}))
                               .value(0x62021004, le({std::bit_cast<std::uint32_t>(0.5F)}))
                               .value(0x62031005, le({0, 0x3FE00000}))
                               .value(0x62041006, le({1, 0}))
                               .value(0x62051007, le({0, 0x3FE00000}))
                               .value(0x62061014, le({1, 1, 2, 2}))
                               .value(0x62071040, le({3, 3}))
                               .value(0x62081048, msg::bytes_of_guid(some_set) + msg::bytes_of_guid(other_set))
                               .value(0x6209101E, le({4, 2}))
                               .stream("__substg1.0_6209101E-00000000", std::string("abc\0", 4))
                               .stream("__substg1.0_6209101E-00000001", "de") // without its terminator
                               .value(0x620A101F, le({static_cast<std::uint32_t>(unicode.size())}))
                               .stream("__substg1.0_620A101F-00000000", unicode)
                               .value(0x620B1102, le({2, 0, 0, 0}))
                               .stream("__substg1.0_620B1102-00000000", std::string("x\0", 2))
                               .stream("__substg1.0_620B1102-00000001", "")
                               .value(0x620C1003, ""));
    const message_record record = read(file);
    const property_bag& bag = *record.properties;
    using integers = std::vector<std::int64_t>;
    using reals = std::vector<double>;
    EXPECT_EQ((integers{1, -2}), std::get<integers>(property(bag, 0x62001002).data));
    EXPECT_EQ((integers{1, -1}), std::get<integers>(property(bag, 0x62011003).data));
    EXPECT_EQ((reals{0.5}), std::get<reals>(property(bag, 0x62021004).data));
    EXPECT_EQ((reals{0.5}), std::get<reals>(property(bag, 0x62031005).data));
    EXPECT_EQ((integers{1}), std::get<integers>(property(bag, 0x62041006).data));
    EXPECT_EQ((reals{0.5}), std::get<reals>(property(bag, 0x62051007).data));
    EXPECT_EQ((integers{0x100000001, 0x200000002}), std::get<integers>(property(bag, 0x62061014).data));
    EXPECT_EQ((integers{0x300000003}), std::get<integers>(property(bag, 0x62071040).data));
    EXPECT_EQ((std::vector<GUID>{some_set, other_set}), std::get<std::vector<GUID>>(property(bag, 0x62081048).data));
    EXPECT_EQ((std::vector<std::string>{"abc", "de"}),
              std::get<std::vector<std::string>>(property(bag, 0x6209101E).data));
    EXPECT_EQ((std::vector<std::wstring>{L"one"}), std::get<std::vector<std::wstring>>(property(bag, 0x620A101F).data));
    EXPECT_EQ((std::vector<std::string>{std::string("x\0", 2), ""}),
              std::get<std::vector<std::string>>(property(bag, 0x620B1102).data));
    EXPECT_EQ(integers{}, std::get<integers>(property(bag, 0x620C1003).data));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, HandsOutListsAsMapiValues)
{
    const auto file = make(plain_message()
                               .value(0x62001002, std::string("\1\0\xFE\xFF", 4))
                               .value(0x62021004, le({std::bit_cast<std::uint32_t>(0.5F)}))
                               .value(0x62031005, le({0, 0x3FE00000}))
                               .value(0x62081048, msg::bytes_of_guid(some_set)));
    const auto message = MakeCom<message_object>(read(file), true, [](const message_record&) { return S_OK; });
    const auto got = get_props(message.get(), {0x62001002, 0x62021004, 0x62031005, 0x62081048});
    ASSERT_EQ(S_OK, got.result);
    ASSERT_EQ(2U, got[0].Value.MVi.cValues);
    EXPECT_EQ(-2, got[0].Value.MVi.lpi[1]);
    EXPECT_EQ(0.5F, got[1].Value.MVflt.lpflt[0]);
    EXPECT_EQ(0.5, got[2].Value.MVdbl.lpdbl[0]);
    EXPECT_EQ(some_set, got[3].Value.MVguid.lpguid[0]);
    // Returned values can be passed in again.
    SPropValue values[]{got[0], got[1], got[2], got[3]};
    for (auto& value : values) {
        value.ulPropTag += 0x10000000;
    }
    ASSERT_EQ(S_OK, message->SetProps(4, values, nullptr));
    const property_bag& bag = *message->current().properties;
    for (const std::uint32_t tag : {0x62001002U, 0x62021004U, 0x62031005U, 0x62081048U}) {
        EXPECT_TRUE(same_value(property(bag, tag), property(bag, tag + 0x10000000))) << tag;
    }
}

TEST_F(MsgReading, KeepsPropertiesOfUnknownTypesByteForByte)
{
    const auto file = make(plain_message()
                               .entry(0x630000FE, 0x11223344, 0x55667788, 2)
                               .value(0x630100FB, "server entry", 0, 6)
                               .entry(0x630210FB, 77, 9)
                               .stream("__substg1.0_630210FB", "lengths of a kind")
                               .stream("__substg1.0_630210FB-00000000", "first")
                               .stream("__substg1.0_630210FB-00000001", "second")
                               .entry(0x63030666, 5, 5)
                               .storage("__substg1.0_63030666", made_object::part().build()));
    const message_record record = read(file);
    EXPECT_EQ(0x5566778811223344, property(*record.properties, 0x630000FE).number());
    EXPECT_EQ("server entry", bytes_in(*record.properties, 0x630100FB));
    EXPECT_EQ((std::vector<std::string>{"first", "second"}),
              std::get<std::vector<std::string>>(property(*record.properties, 0x630210FB).data));
    EXPECT_EQ("", rewriting_differs(file));
    // All of them can be returned safely.
    const auto message = MakeCom<message_object>(record, true, [](const message_record&) { return S_OK; });
    EXPECT_EQ(S_OK, get_props(message.get(), {}).result & ~MAPI_W_ERRORS_RETURNED);
}

TEST_F(MsgReading, KeepsFlagsAndReservedFieldsByteForByte)
{
    auto object = made_object(std::string("ABCDEFGH") + le({5, 9, 0, 0}) + "IJKLMNOP");
    object.class_id(some_set)
        .entry(0x60010003, 1, 0xDEADBEEF, 1) // the unused half of a number
        .entry(0x6007000B, 0xFFFF0001, 3, 7)
        .value(0x61020102, "abc", 0, 0x10002)
        .entry(0x61030102, 3, 0x12345678)
        .stream("__substg1.0_61030102", "def")
        .entry(0x6104001F, 6, 0) // a size other than the usual one
        .stream("__substg1.0_6104001F", to_utf16le(L"abc"));
    EXPECT_EQ("", rewriting_differs(make(object)));
}

TEST_F(MsgReading, KeepsOddBytesAndHalvesOfCharacters)
{
    const auto file = make(plain_message()
                               .value(0x6100001F, "a\0b")
                               .value(0x6101001F, std::string("\0\xD8x\0\0\xDC", 6), 2)
                               .value(0x6102001F, std::string("\0a\0\0b\0", 6), 2));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, KeepsStreamsAndStoragesThatNobodyKnows)
{
    const auto unknown = made_object::part().stream("\005SummaryInformation", "x").class_id(some_set);
    const auto file = make(plain_message()
                               .stream("__substg1.0_7777001F", "no entry tells of it")
                               .stream("Other", "data")
                               .storage("Macros", unknown.build())
                               .storage("__recip_version1.0_#nonsense", unknown.build())
                               .attachment(0, file_part("abc").stream("extra", "y").storage("Deep", unknown.build())));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, KeepsTheOrderOfProperties)
{
    const auto file =
        make(made_object::message().entry(0x70000003, 1).text(PR_SUBJECT_W, L"b").entry(0x00170003, 2).entry(0, 5, 6));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, FindsNamesInSmallLetters)
{
    make(plain_message().attachment(10, file_part("abc")));
    auto tree = std::make_shared<storage_tree>(*msg::read_compound_file(place()));
    for (auto& stream : tree->streams) {
        std::transform(stream.name.begin(), stream.name.end(), stream.name.begin(), ::tolower);
    }
    for (auto& storage : tree->storages) {
        std::transform(storage.name.begin(), storage.name.end(), storage.name.begin(), ::tolower);
    }
    const auto file = make(tree);
    const message_record record = read(file);
    EXPECT_EQ(L"Crane inspection", wide_in(*record.properties, PR_SUBJECT_W));
    EXPECT_EQ("abc", bytes_in(*record.attachments.at(10).properties, PR_ATTACH_DATA_BIN));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, GivesRecipientsInTheOrderOfTheirNumbersThoughTheFileCountsNone)
{
    const auto recipient = [](std::wstring_view name) {
        return made_object::part().entry(PR_RECIPIENT_TYPE, 1).text(PR_DISPLAY_NAME_W, name);
    };
    const auto file = make(plain_message()
                               .recipient(16, recipient(L"last"))
                               .recipient(2, recipient(L"second"))
                               .recipient(0, recipient(L"first")));
    const message_record record = read(file);
    ASSERT_EQ(3U, record.recipients.size());
    EXPECT_EQ(L"first", wide_in(*record.recipients[0], PR_DISPLAY_NAME_W));
    EXPECT_EQ(L"second", wide_in(*record.recipients[1], PR_DISPLAY_NAME_W));
    EXPECT_EQ(L"last", wide_in(*record.recipients[2], PR_DISPLAY_NAME_W));
    write_msg(record, place("again.msg")); // gaps between numbers remain, the counts are corrected
    EXPECT_EQ("", difference(record, read(place("again.msg"))));
    const auto again = msg::read_compound_file(place("again.msg"));
    const auto list = std::find_if(again->streams.begin(), again->streams.end(),
                                   [](const auto& stream) { return stream.name == msg::properties_stream; });
    EXPECT_EQ(le({0, 0, 17, 0, 3, 0, 0, 0}), to_string(*list->contents).substr(0, 32));
}

TEST_F(MsgReading, KnowsAttachmentsByTheirNumbers)
{
    const auto file = make(made_object(std::string(8, '\0') + le({0, 9, 0, 2}) + std::string(8, '\0'))
                               .attachment(3, file_part("three"))
                               .attachment(8, file_part("eight")));
    const message_record record = read(file);
    ASSERT_EQ(2U, record.attachments.size());
    EXPECT_EQ("three", bytes_in(*record.attachments.at(3).properties, PR_ATTACH_DATA_BIN));
    EXPECT_EQ("eight", bytes_in(*record.attachments.at(8).properties, PR_ATTACH_DATA_BIN));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, OpensEmbeddedMessages)
{
    const auto innermost = made_object::embedded().text(PR_SUBJECT_W, L"innermost");
    const auto part = [](const made_object& message) {
        return made_object::part()
            .entry(PR_ATTACH_METHOD, 5)
            .entry(PR_ATTACH_DATA_OBJ, 0xFFFFFFFF, 1)
            .entry(PR_ATTACH_SIZE, 123456)
            .storage("__substg1.0_3701000D", message.build());
    };
    const auto inner = made_object::embedded()
                           .text(PR_SUBJECT_W, L"inner")
                           .stream("kept", "too")
                           .recipient(0, made_object::part().text(PR_DISPLAY_NAME_W, L"Anna"))
                           .attachment(0, part(innermost));
    const auto file = make(plain_message().attachment(0, part(inner)));
    const message_record record = read(file);
    const auto embedded = record.attachments.at(0).embedded;
    ASSERT_TRUE(embedded);
    EXPECT_EQ(L"inner", wide_in(*embedded->properties, PR_SUBJECT_W));
    ASSERT_EQ(1U, embedded->recipients.size());
    ASSERT_TRUE(embedded->attachments.at(0).embedded);
    EXPECT_EQ(L"innermost", wide_in(*embedded->attachments.at(0).embedded->properties, PR_SUBJECT_W));
    EXPECT_EQ("", rewriting_differs(file));
    // As opened by a client.
    const auto message = MakeCom<message_object>(record, true, [](const message_record&) { return S_OK; });
    ComPtr<IAttach> attach;
    ASSERT_EQ(S_OK, message->OpenAttach(0, nullptr, 0, Receive(attach)));
    ComPtr<IUnknown> opened;
    ASSERT_EQ(S_OK, attach->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0, Receive(opened)));
}

TEST_F(MsgReading, KeepsOleStoragesWhole)
{
    const auto object = made_object::part()
                            .class_id(some_set)
                            .stream("\001CompObj", "a")
                            .stream("CONTENTS", std::string(9000, 'x'))
                            .storage("MBD01", made_object::part().stream("\003LINKINFO", "b").build());
    const auto file = make(plain_message().attachment(0, made_object::part()
                                                             .entry(PR_ATTACH_METHOD, 6)
                                                             .entry(PR_ATTACH_DATA_OBJ, 0xFFFFFFFF, 4)
                                                             .storage("__substg1.0_3701000D", object.build())));
    const message_record record = read(file);
    EXPECT_FALSE(record.attachments.at(0).embedded);
    const auto storage = std::get<storage_ptr>(property(*record.attachments.at(0).properties, PR_ATTACH_DATA_OBJ).data);
    EXPECT_EQ("", difference(*object.build(), *storage));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, OpensOleStoragesToBeLookedInto)
{
    const auto inside = made_object::part().class_id(some_set).stream("CONTENTS", "abc");
    const auto file = make(plain_message().attachment(
        0, made_object::part()
               .entry(PR_ATTACH_METHOD, 6)
               .entry(PR_ATTACH_DATA_OBJ, 0xFFFFFFFF, 4)
               .storage("__substg1.0_3701000D", made_object::part().storage("Inner", inside.build()).build())));
    const auto message = MakeCom<message_object>(read(file), true, [](const message_record&) { return S_OK; });
    ComPtr<IAttach> attach;
    ASSERT_EQ(S_OK, message->OpenAttach(0, nullptr, 0, Receive(attach)));
    ComPtr<IUnknown> opened;
    EXPECT_EQ(MAPI_E_NOT_FOUND, attach->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0, Receive(opened)));
    EXPECT_EQ(MAPI_E_NO_SUPPORT,
              attach->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IStorage, 0, MAPI_MODIFY, Receive(opened)));
    ASSERT_EQ(S_OK, attach->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IStorage, 0, 0, Receive(opened)));
    ComPtr<IStorage> storage;
    ASSERT_EQ(S_OK, Query(opened.get(), IID_IStorage, storage));
    ComPtr<IStorage> inner;
    ASSERT_EQ(S_OK, storage->OpenStorage(L"INNER", nullptr, 0, nullptr, 0, Receive(inner)));
    STATSTG stat{};
    ASSERT_EQ(S_OK, inner->Stat(&stat, STATFLAG_NONAME));
    EXPECT_EQ(some_set, stat.clsid);
    ComPtr<IStream> stream;
    EXPECT_EQ(static_cast<HRESULT>(0x80030002U), inner->OpenStream(L"other", nullptr, 0, 0, Receive(stream)));
    ASSERT_EQ(S_OK, inner->OpenStream(L"contents", nullptr, 0, 0, Receive(stream)));
    EXPECT_EQ("abc", read_all(stream.get()));
    EXPECT_EQ(static_cast<HRESULT>(0x80030005U), inner->CreateStream(L"new", 0, 0, 0, Receive(stream)));
}

TEST_F(MsgReading, TakesThePageOfNarrowTextFromTheMessage)
{
    const std::string cyrillic = winapi::conv_to_char(L"Договор", 1251);
    const auto file = make(made_object::message()
                               .narrow(PR_MESSAGE_CLASS_W - 1, "IPM.Note")
                               .narrow(PR_SUBJECT_W - 1, cyrillic)
                               .entry(tag::message_code_page, 1251)
                               .recipient(0, made_object::part().narrow(PR_DISPLAY_NAME_W - 1, cyrillic))
                               .attachment(0, made_object::part().narrow(PR_ATTACH_LONG_FILENAME_W - 1, cyrillic)));
    const message_record record = read(file);
    EXPECT_EQ(L"Договор", wide_in(*record.properties, PR_SUBJECT_W));
    EXPECT_EQ(L"Договор", wide_in(*record.recipients.at(0), PR_DISPLAY_NAME_W));
    EXPECT_EQ(L"Договор", wide_in(*record.attachments.at(0).properties, PR_ATTACH_LONG_FILENAME_W));
    EXPECT_EQ(cyrillic, bytes_in(*record.properties, PR_SUBJECT_W));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, FallsBackToTheAnsiPageForPagesThatNobodyKnows)
{
    const auto file =
        make(made_object::message().narrow(PR_SUBJECT_W - 1, "\xE4").entry(tag::message_code_page, 64999));
    const auto before = winapi::ansi_code_page(1252);
    EXPECT_EQ(L"ä", wide_in(*read(file).properties, PR_SUBJECT_W));
    winapi::ansi_code_page(before);
}

/// Returns a narrow message with a subject, whose code pages the caller adds.
made_object narrow_message(const std::string& subject)
{
    return made_object::message().narrow(PR_MESSAGE_CLASS_W - 1, "IPM.Note").narrow(PR_SUBJECT_W - 1, subject);
}

TEST_F(MsgReading, TakesThePageOfTheMessageInTransitIfNoneIsSpecifiedForTexts)
{
    const std::string greek = winapi::conv_to_char(L"Θέμα", 1253);
    const auto file = make(narrow_message(greek)
                               .entry(PR_INTERNET_CPID, 1253)
                               .recipient(0, made_object::part().narrow(PR_DISPLAY_NAME_W - 1, greek)));
    const message_record record = read(file);
    EXPECT_EQ(L"Θέμα", wide_in(*record.properties, PR_SUBJECT_W));
    EXPECT_EQ(L"Θέμα", wide_in(*record.recipients.at(0), PR_DISPLAY_NAME_W));
    EXPECT_EQ("", rewriting_differs(file));
    const auto both = make(narrow_message(greek).entry(PR_INTERNET_CPID, 1251).entry(tag::message_code_page, 1253));
    EXPECT_EQ(L"Θέμα", wide_in(*read(both).properties, PR_SUBJECT_W));
}

TEST_F(MsgReading, TakesTheEightBitPageOfTheLanguageForTextThatIsNotInASevenBitPage)
{
    const std::string text = "\x93\xFA\x96{\x8C\xEA"; // 932
    for (const std::uint32_t page : {50220U, 50221U, 50222U}) {
        const auto file = make(narrow_message(text)
                                   .entry(PR_INTERNET_CPID, page)
                                   .value(0x6100101E, std::string("\7\0\0\0", 4))
                                   .stream("__substg1.0_6100101E-00000000", text + '\0')
                                   .attachment(0, made_object::part().narrow(PR_ATTACH_LONG_FILENAME_W - 1, text)));
        const message_record record = read(file);
        EXPECT_EQ(L"日本語", wide_in(*record.properties, PR_SUBJECT_W)) << page;
        EXPECT_EQ(L"日本語", wide_in(*record.attachments.at(0).properties, PR_ATTACH_LONG_FILENAME_W)) << page;
        EXPECT_EQ(932U, property(*record.properties, 0x6100101E).code_page) << page;
        EXPECT_EQ("", rewriting_differs(file)) << page;
    }
}

TEST_F(MsgReading, TakesAPageWithoutALanguageForNone)
{
    const auto before = winapi::ansi_code_page(1252);
    const auto file = make(narrow_message("\xE4").entry(PR_INTERNET_CPID, 20127));
    EXPECT_EQ(L"ä", wide_in(*read(file).properties, PR_SUBJECT_W));
    EXPECT_EQ("", rewriting_differs(file));
    const auto without = make(narrow_message("\xE4"));
    EXPECT_EQ(L"ä", wide_in(*read(without).properties, PR_SUBJECT_W));
    EXPECT_EQ("", rewriting_differs(without));
    winapi::ansi_code_page(before);
}

TEST_F(MsgReading, TakesThePageOfAnEmbeddedMessageFromTheOneThatEnclosesIt)
{
    const std::string cyrillic = winapi::conv_to_char(L"Договор", 1251);
    const auto subject_of = [&](made_object outer, made_object inner) {
        inner.narrow(PR_SUBJECT_W - 1, cyrillic);
        const auto file = make(outer.attachment(0, made_object::part()
                                                       .entry(PR_ATTACH_METHOD, 5)
                                                       .entry(PR_ATTACH_DATA_OBJ, 0xFFFFFFFF, 1)
                                                       .storage("__substg1.0_3701000D", inner.build())));
        EXPECT_EQ("", rewriting_differs(file));
        return wide_in(*read(file).attachments.at(0).embedded->properties, PR_SUBJECT_W);
    };
    const auto in_transit = [](made_object object, std::uint32_t page) { return object.entry(PR_INTERNET_CPID, page); };
    const auto of_texts = [](made_object object, std::uint32_t page) {
        return object.entry(tag::message_code_page, page);
    };
    const made_object outer = narrow_message("a");
    const made_object inner = made_object::embedded();
    EXPECT_EQ(L"Договор", subject_of(of_texts(outer, 1251), inner));
    EXPECT_EQ(L"Договор", subject_of(in_transit(outer, 1251), inner));
    EXPECT_EQ(L"Договор", subject_of(in_transit(outer, 1252), in_transit(inner, 1251)));
    EXPECT_EQ(L"Договор", subject_of(of_texts(outer, 1252), of_texts(inner, 1251)));
    EXPECT_EQ(L"Договор", subject_of(of_texts(outer, 1251), in_transit(inner, 1252)));
}

TEST_F(MsgReading, ShowsHtmlThatIsTextAsBytes)
{
    const std::string narrow = winapi::conv_to_char(L"<p>Größe</p>", 1252);
    const auto a = make(plain_message().narrow(0x1013001E, narrow).entry(PR_INTERNET_CPID, 1252), "a.msg");
    EXPECT_EQ(narrow, bytes_in(*read(a).properties, PR_HTML));
    EXPECT_EQ("", rewriting_differs(a));
    const auto b = make(plain_message().text(0x1013001F, L"<p>Größe</p>").entry(PR_INTERNET_CPID, 1252), "b.msg");
    EXPECT_EQ(narrow, bytes_in(*read(b).properties, PR_HTML));
    EXPECT_EQ("", rewriting_differs(b));
}

TEST_F(MsgReading, WritesCharactersThatHtmlBytesCannotHoldAsReferences)
{
    const std::wstring html = L"<p>Größe \x20AC Договор Größe</p>";
    const auto with_page = make(plain_message().text(0x1013001F, html).entry(PR_INTERNET_CPID, 28591), "a.msg");
    EXPECT_EQ("<p>Gr\xF6\xDF"
              "e &#8364; &#1044;&#1086;&#1075;&#1086;&#1074;&#1086;&#1088; Gr\xF6\xDF"
              "e</p>",
              bytes_in(*read(with_page).properties, PR_HTML));
    const auto without = make(
        plain_message().value(0x1013001F, to_utf16le(L"<b>\xE4</b>") + std::string("\x3D\xD8\x00\xDE", 4), 2), "b.msg");
    EXPECT_EQ("<b>&#228;</b>&#128512;", bytes_in(*read(without).properties, PR_HTML));
    EXPECT_EQ("", rewriting_differs(without));
}

TEST_F(MsgReading, ShowsTheWidestOfSeveralEntriesForOneProperty)
{
    const auto file = make(plain_message()
                               .narrow(0x6100001E, "narrow")
                               .text(0x6100001F, L"wide")
                               .text(0x6101001F, L"wide")
                               .narrow(0x6101001E, "narrow"));
    const message_record record = read(file);
    EXPECT_EQ(L"wide", wide_in(*record.properties, 0x6100001F));
    EXPECT_EQ(L"wide", wide_in(*record.properties, 0x6101001F));
    EXPECT_EQ("", rewriting_differs(file));
    // A changed value must not leave the old one in another form.
    message_record changed = record.copy();
    changed.properties->set(0x6100001F, property_value::of_text(L"new"));
    write_msg(changed, place("changed.msg"));
    const message_record again = read(place("changed.msg"));
    EXPECT_EQ(L"new", wide_in(*again.properties, 0x6100001F));
    const auto tree = msg::read_compound_file(place("changed.msg"));
    EXPECT_TRUE(std::none_of(tree->streams.begin(), tree->streams.end(),
                             [](const auto& stream) { return stream.name == "__substg1.0_6100001E"; }));
}

TEST_F(MsgReading, KeepsTheToldSizeOfContentsThatHaveAnotherEntryInFront)
{
    const auto file =
        make(plain_message().attachment(0, made_object::part()
                                               .entry(PR_ATTACH_SIZE, 99)
                                               .narrow(CHANGE_PROP_TYPE(PR_ATTACH_DATA_BIN, PT_STRING8), "x")
                                               .value(PR_ATTACH_DATA_BIN, "the contents")));
    EXPECT_EQ("the contents", bytes_in(*read(file).attachments.at(0).properties, PR_ATTACH_DATA_BIN));
    EXPECT_EQ("", rewriting_differs(file));
}

TEST_F(MsgReading, GivesTheSamePlaceAndContentsTheSameEntryIdentifier)
{
    const auto file = make(plain_message().value(PR_ENTRYID, "the identifier of some store"));
    const std::string id = bytes_in(*read(file).properties, PR_ENTRYID);
    EXPECT_EQ(32U, id.size());
    EXPECT_EQ(id, bytes_in(*read(file).properties, PR_ENTRYID));
    std::filesystem::copy_file(file, place("copy.msg"));
    EXPECT_NE(id, bytes_in(*read(place("copy.msg")).properties, PR_ENTRYID));
    EXPECT_EQ("", rewriting_differs(file)); // the file keeps its own identifier
}

} // namespace msg_reading_test
} // namespace host::test
