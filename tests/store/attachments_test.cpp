#include "store/row_table.h"
#include "tests/store/store_fixture.h"

namespace host::test {
namespace {

class Attachments : public StoreTest
{
protected:
    void SetUp() override
    {
        stored->attachments.emplace(0, file_attachment(L"plan.pdf", "%PDF"));
        stored->attachments.emplace(3, file_attachment(L"notes.txt", "some notes"));
    }

    /// Returns the rows of the attachment table, read in one call.
    static RowSetPtr rows(IMessage* message, LONG count = 100, ULONG flags = TBL_NOADVANCE)
    {
        ComPtr<IMAPITable> table;
        EXPECT_EQ(S_OK, message->GetAttachmentTable(0, Receive(table)));
        SRowSet* found = nullptr;
        EXPECT_EQ(S_OK, table->QueryRows(count, flags, &found));
        return RowSetPtr(found);
    }
    static const SPropValue* cell(const SRow& row, std::uint32_t id)
    {
        for (ULONG i = 0; i < row.cValues; ++i) {
            if (PROP_ID(row.lpProps[i].ulPropTag) == id) {
                return &row.lpProps[i];
            }
        }
        return nullptr;
    }
    static std::vector<LONG> numbers(IMessage* message)
    {
        std::vector<LONG> found;
        const RowSetPtr all = rows(message);
        for (ULONG i = 0; i < all->cRows; ++i) {
            found.push_back(cell(all->aRow[i], PROP_ID(PR_ATTACH_NUM))->Value.l);
        }
        return found;
    }
    static ComPtr<IAttach> create(IMessage* message, ULONG& number)
    {
        ComPtr<IAttach> attach;
        EXPECT_EQ(S_OK, message->CreateAttach(nullptr, 0, &number, Receive(attach)));
        return attach;
    }
};

TEST_F(Attachments, StandInTheTableWithUnicodeColumns)
{
    const auto message = open();
    const RowSetPtr all = rows(message.get());
    ASSERT_EQ(2U, all->cRows);
    const SRow& second = all->aRow[1];
    EXPECT_EQ(3, cell(second, PROP_ID(PR_ATTACH_NUM))->Value.l);
    EXPECT_EQ(10, cell(second, PROP_ID(PR_ATTACH_SIZE))->Value.l);
    EXPECT_EQ(LONG{ATTACH_BY_VALUE}, cell(second, PROP_ID(PR_ATTACH_METHOD))->Value.l);
    EXPECT_EQ(PR_ATTACH_LONG_FILENAME_W, cell(second, PROP_ID(PR_ATTACH_LONG_FILENAME_W))->ulPropTag);
    EXPECT_STREQ(L"notes.txt", cell(second, PROP_ID(PR_ATTACH_LONG_FILENAME_W))->Value.lpszW);
    EXPECT_EQ(PT_ERROR, PROP_TYPE(cell(second, PROP_ID(PR_ATTACH_CONTENT_ID_W))->ulPropTag));
}

TEST_F(Attachments, AreReadRowByRowOrAgainFromTheSamePlace)
{
    const auto message = open();
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, message->GetAttachmentTable(0, Receive(table)));
    const auto next = [&table](LONG count, ULONG flags) {
        SRowSet* found = nullptr;
        EXPECT_EQ(S_OK, table->QueryRows(count, flags, &found));
        const RowSetPtr owner(found);
        std::vector<LONG> numbers;
        for (ULONG i = 0; i < found->cRows; ++i) {
            numbers.push_back(cell(found->aRow[i], PROP_ID(PR_ATTACH_NUM))->Value.l);
        }
        return numbers;
    };
    EXPECT_EQ((std::vector<LONG>{0}), next(1, TBL_NOADVANCE));
    EXPECT_EQ((std::vector<LONG>{0}), next(1, 0));
    EXPECT_EQ((std::vector<LONG>{3}), next(100, 0));
    EXPECT_EQ((std::vector<LONG>{}), next(100, 0));
    EXPECT_EQ((std::vector<LONG>{0, 3}), next(-5, 0)); // backwards from the end
    LONG sought = 0;
    EXPECT_EQ(S_OK, table->SeekRow(BOOKMARK_BEGINNING, 1, &sought));
    EXPECT_EQ(1, sought);
    EXPECT_EQ((std::vector<LONG>{3}), next(1, 0));
    SRowSet* none = nullptr;
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, table->QueryRows(0, 0, &none));
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, table->QueryRows(1, 0, nullptr));
}

TEST_F(Attachments, ShowTheColumnsThatAreSet)
{
    const auto message = open();
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, message->GetAttachmentTable(0, Receive(table)));
    tag_list columns{CHANGE_PROP_TYPE(PR_ATTACH_LONG_FILENAME_W, PT_STRING8), PR_ATTACH_NUM};
    ASSERT_EQ(S_OK, table->SetColumns(columns.get(), 0));
    SRowSet* found = nullptr;
    ASSERT_EQ(S_OK, table->QueryRows(1, 0, &found));
    const RowSetPtr owner(found);
    ASSERT_EQ(2U, found->aRow[0].cValues);
    EXPECT_STREQ("plan.pdf", found->aRow[0].lpProps[0].Value.lpszA);
    ULONG count = 0;
    EXPECT_EQ(S_OK, table->GetRowCount(0, &count));
    EXPECT_EQ(2U, count);
}

TEST_F(Attachments, AreMadeRowsOnlyWhenTheyAreAskedFor)
{
    std::vector<std::pair<std::size_t, std::size_t>> asked;
    const row_source source{[] { return std::size_t{1000}; },
                            [&asked](std::size_t first, std::size_t last) {
                                asked.emplace_back(first, last);
                                return std::vector<row_source::row>(last - first, std::make_shared<property_bag>());
                            }};
    const auto table = MakeCom<row_table>(source, std::vector<std::uint32_t>{PR_ATTACH_NUM});
    const auto query = [&table](LONG count) {
        SRowSet* found = nullptr;
        EXPECT_EQ(S_OK, table->QueryRows(count, 0, &found));
        return RowSetPtr(found)->cRows;
    };
    EXPECT_EQ(3U, query(3));
    ULONG count = 0;
    EXPECT_EQ(S_OK, table->GetRowCount(0, &count));
    EXPECT_EQ(1000U, count);
    EXPECT_EQ(S_OK, table->SeekRow(BOOKMARK_END, -2, nullptr));
    EXPECT_EQ(2U, query(64));
    EXPECT_EQ((std::vector<std::pair<std::size_t, std::size_t>>{{0, 3}, {998, 1000}}), asked);
}

TEST_F(Attachments, TellThatTheirTableFollowsTheMessage)
{
    const auto message = open();
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, message->GetAttachmentTable(0, Receive(table)));
    ULONG status = 9;
    ULONG type = 9;
    EXPECT_EQ(S_OK, table->GetStatus(&status, &type));
    EXPECT_EQ(0U, status); // complete
    EXPECT_EQ(2U, type);   // dynamic
    EXPECT_EQ(MAPI_E_INVALID_PARAMETER, table->GetStatus(&status, nullptr));
    EXPECT_EQ(S_OK, message->DeleteAttach(0, 0, nullptr, 0));
    ULONG row = 9;
    ULONG numerator = 9;
    ULONG denominator = 9;
    EXPECT_EQ(S_OK, table->SeekRowApprox(1, 1));
    EXPECT_EQ(S_OK, table->QueryPosition(&row, &numerator, &denominator));
    EXPECT_EQ((std::vector<ULONG>{1, 1, 1}), (std::vector<ULONG>{row, numerator, denominator}));
}

TEST_F(Attachments, ShowBytesInTheTableUpToItsLimit)
{
    constexpr ULONG encoding = 0x37020102;
    stored->attachments.at(0).properties->set(encoding, property_value::of_binary(bytes_of(std::string(510, 'e'))));
    stored->attachments.at(3).properties->set(encoding, property_value::of_binary(bytes_of(std::string(511, 'e'))));
    const auto message = open();
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, message->GetAttachmentTable(0, Receive(table)));
    tag_list columns{encoding};
    ASSERT_EQ(S_OK, table->SetColumns(columns.get(), 0));
    SRowSet* found = nullptr;
    ASSERT_EQ(S_OK, table->QueryRows(2, 0, &found));
    const RowSetPtr owner(found);
    EXPECT_EQ(510U, found->aRow[0].lpProps[0].Value.bin.cb);
    EXPECT_EQ(MAPI_E_NOT_ENOUGH_MEMORY, found->aRow[1].lpProps[0].Value.err);
}

TEST_F(Attachments, DoNotTakeRestrictionsSortsOrBookmarks)
{
    const auto message = open();
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, message->GetAttachmentTable(0, Receive(table)));
    BOOKMARK mark = 0;
    EXPECT_EQ(MAPI_E_NO_SUPPORT, table->CreateBookmark(&mark));
    EXPECT_EQ(MAPI_E_NO_SUPPORT, table->SortTable(nullptr, 0));
    EXPECT_EQ(MAPI_E_NO_SUPPORT, table->FindRow(nullptr, BOOKMARK_BEGINNING, 0));
    EXPECT_EQ(S_OK, table->Restrict(nullptr, 0));
}

TEST_F(Attachments, OpenByNumber)
{
    const auto message = open();
    const auto attach = open_attach(message.get(), 3, 0);
    ASSERT_NE(nullptr, attach);
    EXPECT_EQ("some notes", stream_text(attach.get(), PR_ATTACH_DATA_BIN));
    const auto got = get_props(attach.get(), {PR_ATTACH_NUM, PR_ATTACH_SIZE});
    EXPECT_EQ(3, got[0].Value.l);
    EXPECT_EQ(10, got[1].Value.l);
    HRESULT result = S_OK;
    EXPECT_EQ(nullptr, open_attach(message.get(), 1, 0, &result));
    EXPECT_EQ(MAPI_E_NOT_FOUND, result);
}

TEST_F(Attachments, AnswerTheirOwnInterfacesOnly)
{
    const auto message = open();
    ComPtr<IAttach> attach;
    EXPECT_EQ(S_OK, message->OpenAttach(0, &IID_IAttachment, 0, Receive(attach)));
    EXPECT_EQ(MAPI_E_INTERFACE_NOT_SUPPORTED, message->OpenAttach(0, &IID_IMessage, 0, Receive(attach)));
    attach = open_attach(message.get(), 0, 0);
    ComPtr<IUnknown> found;
    EXPECT_EQ(S_OK, attach->QueryInterface(IID_IMAPIProp, Receive(found)));
    EXPECT_EQ(E_NOINTERFACE, attach->QueryInterface(IID_IMessage, Receive(found)));
}

TEST_F(Attachments, ReachTheMessageOnlyWithSaveChanges)
{
    const auto message = open();
    ULONG number = 0;
    const auto attach = create(message.get(), number);
    EXPECT_EQ(4U, number);
    write(open_stream(attach.get(), PR_ATTACH_DATA_BIN, MAPI_MODIFY | MAPI_CREATE).get(), "notice");
    SPropValue name = text_value(PR_DISPLAY_NAME_W, L"notice.htm");
    EXPECT_EQ(S_OK, attach->SetProps(1, &name, nullptr));
    EXPECT_EQ((std::vector<LONG>{0, 3}), numbers(message.get()));
    EXPECT_EQ(S_OK, attach->SaveChanges(0));
    EXPECT_EQ((std::vector<LONG>{0, 3, 4}), numbers(message.get()));
    EXPECT_EQ(2U, stored->attachments.size()); // the message itself is not saved
    EXPECT_EQ(S_OK, message->SaveChanges(0));
    EXPECT_EQ(3U, stored->attachments.size());
    EXPECT_EQ("notice", stream_text(open_attach(message.get(), 4, 0).get(), PR_ATTACH_DATA_BIN));
}

TEST_F(Attachments, ThatWereNeverSavedVanish)
{
    const auto message = open();
    {
        ULONG number = 0;
        create(message.get(), number);
        write(open_stream(open_attach(message.get(), 0, MAPI_MODIFY).get(), PR_ATTACH_DATA_BIN, MAPI_MODIFY).get(),
              "changed");
    }
    EXPECT_EQ((std::vector<LONG>{0, 3}), numbers(message.get()));
    EXPECT_EQ("%PDF", stream_text(open_attach(message.get(), 0, 0).get(), PR_ATTACH_DATA_BIN));
}

TEST_F(Attachments, TakeNoChangesAfterASaveThatDoesNotKeepThemOpen)
{
    const auto message = open();
    ULONG number = 0;
    const auto attach = create(message.get(), number);
    SPropValue name = text_value(PR_DISPLAY_NAME_W, L"a");
    EXPECT_EQ(S_OK, attach->SaveChanges(KEEP_OPEN_READWRITE));
    EXPECT_EQ(S_OK, attach->SetProps(1, &name, nullptr));
    EXPECT_EQ(S_OK, attach->SaveChanges(0));
    EXPECT_EQ(MAPI_E_NO_ACCESS, attach->SetProps(1, &name, nullptr));
    EXPECT_STREQ(L"a", get_props(attach.get(), {PR_DISPLAY_NAME_W})[0].Value.lpszW);
}

TEST_F(Attachments, DoNotTakeTheNumberOrSizeThatIsSet)
{
    const auto message = open();
    ULONG number = 0;
    const auto attach = create(message.get(), number);
    SPropValue value = long_value(PR_ATTACH_NUM, 77);
    EXPECT_EQ(S_OK, attach->SetProps(1, &value, nullptr)); // without a problem array the failure is not reported
    EXPECT_EQ(4, get_props(attach.get(), {PR_ATTACH_NUM})[0].Value.l);
}

TEST_F(Attachments, AreDeletedOnce)
{
    const auto message = open();
    EXPECT_EQ(S_OK, message->DeleteAttach(0, 0, nullptr, 0));
    EXPECT_EQ(MAPI_E_NOT_FOUND, message->DeleteAttach(0, 0, nullptr, 0));
    EXPECT_EQ((std::vector<LONG>{3}), numbers(message.get()));
    EXPECT_EQ(2U, stored->attachments.size());
    EXPECT_EQ(S_OK, message->SaveChanges(0));
    EXPECT_EQ(1U, stored->attachments.size());
}

TEST_F(Attachments, ThatWereDeletedCannotBeSaved)
{
    const auto message = open();
    const auto attach = open_attach(message.get(), 0, MAPI_MODIFY);
    EXPECT_EQ(S_OK, message->DeleteAttach(0, 0, nullptr, 0));
    EXPECT_EQ(MAPI_E_OBJECT_DELETED, attach->SaveChanges(0));
}

TEST_F(Attachments, OfAReadOnlyMessageStay)
{
    const auto message = open(false);
    ULONG number = 0;
    ComPtr<IAttach> attach;
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->CreateAttach(nullptr, 0, &number, Receive(attach)));
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->DeleteAttach(0, 0, nullptr, 0));
    EXPECT_EQ(MAPI_E_NO_ACCESS, message->OpenAttach(0, nullptr, MAPI_MODIFY, Receive(attach)));
    EXPECT_EQ(S_OK, message->OpenAttach(0, nullptr, 0, Receive(attach)));
}

TEST_F(Attachments, OpenedForReadingAreChangedOnlyInAGenerousStore)
{
    stored->store->rules.generous = false;
    const auto message = open();
    SPropValue name = text_value(PR_DISPLAY_NAME_W, L"a");
    EXPECT_EQ(MAPI_E_NO_ACCESS, open_attach(message.get(), 0, 0)->SetProps(1, &name, nullptr));
    EXPECT_EQ(S_OK, open_attach(message.get(), 0, MAPI_MODIFY)->SetProps(1, &name, nullptr));
    EXPECT_EQ(S_OK, open_attach(message.get(), 0, MAPI_BEST_ACCESS)->SetProps(1, &name, nullptr));
}

TEST_F(Attachments, OutliveTheirMessageWithItsTable)
{
    ComPtr<IMAPITable> table;
    ComPtr<IAttach> attach;
    {
        const auto message = open();
        ASSERT_EQ(S_OK, message->GetAttachmentTable(0, Receive(table)));
        attach = open_attach(message.get(), 3, MAPI_MODIFY);
    }
    SPropValue name = text_value(PR_DISPLAY_NAME_W, L"late");
    EXPECT_EQ(S_OK, attach->SetProps(1, &name, nullptr));
    EXPECT_EQ(S_OK, attach->SaveChanges(0));
    ULONG count = 0;
    EXPECT_EQ(S_OK, table->GetRowCount(0, &count));
    EXPECT_EQ(2U, count);
}

class EmbeddedMessages : public StoreTest
{
protected:
    void SetUp() override
    {
        message_record inner;
        inner.store = stored->store;
        inner.properties->set(PR_SUBJECT_W, property_value::of_text(L"Inside"));
        inner.attachments.emplace(0, file_attachment(L"deep.txt", "deep"));
        stored->attachments.emplace(0, message_attachment(std::move(inner)));
    }
    static ComPtr<IMessage> open_inner(IAttach* attach, ULONG flags, HRESULT expected = S_OK)
    {
        ComPtr<IUnknown> opened;
        EXPECT_EQ(expected, attach->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, flags, Receive(opened)));
        ComPtr<IMessage> message;
        if (opened) {
            EXPECT_EQ(S_OK, Query(opened.get(), IID_IMessage, message));
        }
        return message;
    }
};

TEST_F(EmbeddedMessages, OpenAsMessagesWithTheirAttachments)
{
    const auto attach = open_attach(open().get(), 0, 0);
    const auto inner = open_inner(attach.get(), 0);
    ASSERT_NE(nullptr, inner);
    EXPECT_STREQ(L"Inside", get_props(inner.get(), {PR_SUBJECT_W})[0].Value.lpszW);
    EXPECT_EQ("deep", stream_text(open_attach(inner.get(), 0, 0).get(), PR_ATTACH_DATA_BIN));
}

TEST_F(EmbeddedMessages, HaveNoBytesOfTheirOwn)
{
    const auto attach = open_attach(open().get(), 0, 0);
    HRESULT result = S_OK;
    EXPECT_EQ(nullptr, open_stream(attach.get(), PR_ATTACH_DATA_BIN, 0, &result));
    EXPECT_EQ(MAPI_E_NOT_FOUND, result);
    ComPtr<IUnknown> other;
    EXPECT_EQ(MAPI_E_INTERFACE_NOT_SUPPORTED,
              attach->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IStorage, 0, 0, Receive(other)));
}

TEST_F(EmbeddedMessages, AreNotFoundInAFile)
{
    stored->attachments.emplace(1, file_attachment(L"a.txt", "a"));
    open_inner(open_attach(open().get(), 1, 0).get(), 0, MAPI_E_NOT_FOUND);
}

TEST_F(EmbeddedMessages, AreSavedLevelByLevel)
{
    const auto outer = open();
    const auto attach = open_attach(outer.get(), 0, MAPI_MODIFY);
    const auto inner = open_inner(attach.get(), MAPI_MODIFY);
    SPropValue subject = text_value(PR_SUBJECT_W, L"Changed");
    EXPECT_EQ(S_OK, inner->SetProps(1, &subject, nullptr));
    const auto seen = [this] {
        return stored->attachments.at(0).embedded->properties->find(PROP_ID(PR_SUBJECT_W))->wide();
    };
    EXPECT_EQ(S_OK, inner->SaveChanges(0));
    EXPECT_EQ(L"Inside", seen());
    EXPECT_EQ(S_OK, attach->SaveChanges(0));
    EXPECT_EQ(L"Inside", seen());
    EXPECT_EQ(S_OK, outer->SaveChanges(0));
    EXPECT_EQ(L"Changed", seen());
}

TEST_F(EmbeddedMessages, AreCreatedInANewAttachment)
{
    const auto outer = open();
    ULONG number = 0;
    ComPtr<IAttach> attach;
    ASSERT_EQ(S_OK, outer->CreateAttach(nullptr, 0, &number, Receive(attach)));
    const auto inner = open_inner(attach.get(), MAPI_MODIFY | MAPI_CREATE);
    SPropValue subject = text_value(PR_SUBJECT_W, L"Fresh");
    EXPECT_EQ(S_OK, inner->SetProps(1, &subject, nullptr));
    EXPECT_EQ(S_OK, inner->SaveChanges(0));
    EXPECT_EQ(S_OK, attach->SaveChanges(0));
    EXPECT_EQ(L"Fresh",
              outer->current().attachments.at(number).embedded->properties->find(PROP_ID(PR_SUBJECT_W))->wide());
}

} // namespace
} // namespace host::test
