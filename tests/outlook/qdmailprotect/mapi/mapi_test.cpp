#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/mapi/outlook_items.h"
#include "tests/outlook/qdmailprotect/support/scripted_item.h"
#include "tests/outlook/qdmailprotect/support/stored_message.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(store_buffers, hold_what_is_added_until_they_are_freed)
{
    void* owner = nullptr;
    ASSERT_EQ(MAPIAllocateBuffer(10, &owner), S_OK);
    std::memset(owner, 1, 10);
    for (ULONG size : {1U, 100U, 0U}) {
        void* added = nullptr;
        ASSERT_EQ(MAPIAllocateMore(size, owner, &added), S_OK);
        std::memset(added, 2, size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(added) % 8, 0U);
    }
    EXPECT_EQ(MAPIFreeBuffer(owner), 0U);
    EXPECT_EQ(MAPIFreeBuffer(nullptr), 0U);
}

TEST(com_pointers, own_what_they_receive)
{
    test::scripted_store store;
    const auto opened = test::empty_message(store);
    ComPtr<IUnknown> object = test::identity(*opened);
    opened->close();
    ComPtr<IMessage> message;
    EXPECT_EQ(Query(object.get(), IID_IMessage, message), S_OK);
    object.reset();
    EXPECT_EQ(store.alive, 1);
    EXPECT_EQ(Query(message.get(), IID_IAttachment, message), E_NOINTERFACE) << "the old reference goes";
    EXPECT_EQ(store.alive, 0);
}

TEST(com_pointers, drop_an_object_that_comes_with_a_failed_query)
{
    test::scripted_store store;
    const auto opened = test::empty_message(store);
    store.deny("message.QueryInterface IMessage", E_ACCESSDENIED);
    ComPtr<IMessage> message;
    EXPECT_EQ(Query(opened->pointer(), IID_IMessage, message), E_ACCESSDENIED);
    EXPECT_EQ(message, nullptr);
    opened->close();
    EXPECT_EQ(store.alive, 0);
}

TEST(com_objects, count_once_for_all_their_interfaces)
{
    test::scripted_store store;
    const auto message = test::empty_message(store);
    message->object().wrap(nullptr);
    ComPtr<ISecuredMessage> secured;
    ComPtr<IUnknown> from_secured;
    ComPtr<IUnknown> from_message;
    ASSERT_EQ(Query(message->pointer(), IID_ISecuredMessage, secured), S_OK);
    ASSERT_EQ(Query(secured.get(), IID_IUnknown, from_secured), S_OK);
    ASSERT_EQ(Query(message->pointer(), IID_IUnknown, from_message), S_OK);
    EXPECT_EQ(from_secured, from_message) << "one identity";
    EXPECT_EQ(message->object().AddRef(), 5U);
    EXPECT_EQ(message->object().Release(), 4U);
    EXPECT_EQ(message->object().QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST(row_sets, are_freed_with_their_values)
{
    test::scripted_store store;
    const auto message = test::empty_message(store);
    message->attach(1, L"a", "");
    message->attach(2, L"b", "");
    ComPtr<IMAPITable> table;
    ASSERT_EQ(message->object().GetAttachmentTable(0, Receive(table)), S_OK);
    SRowSet* raw = nullptr;
    ASSERT_EQ(table->QueryRows(100, TBL_NOADVANCE, &raw), S_OK);
    const RowSetPtr rows(raw); // the sanitizer checks the rest
    EXPECT_EQ(rows->cRows, 2U);
}

TEST(items, answer_for_one_kind)
{
    test::scripted_store store;
    const auto message = test::empty_message(store);
    const auto item = MakeCom<test::scripted_item>(store, IID_TaskItem, identity(*message));
    ComPtr<OutlookItemInterface> typed;
    EXPECT_EQ(Query(item->reference().get(), IID_MailItem, typed), E_NOINTERFACE);
    ASSERT_EQ(Query(item->reference().get(), IID_TaskItem, typed), S_OK);
    ComPtr<IUnknown> object;
    EXPECT_EQ(GetMapiObject(typed.get(), object), S_OK);
    EXPECT_EQ(object, identity(*message));
    store.fail_nth(1, E_ACCESSDENIED, "item.get_MAPIOBJECT");
    EXPECT_EQ(GetMapiObject(typed.get(), object), E_ACCESSDENIED);
}

} // namespace
