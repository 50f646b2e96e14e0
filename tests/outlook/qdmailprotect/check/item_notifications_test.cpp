#include "outlook/qdmailprotect/check/item_notifications.h"
#include "outlook/qdmailprotect/check/mail_item_event_handler.h"
#include "tests/outlook/qdmailprotect/check/mail_events_fixture.h"
#include "tests/outlook/qdmailprotect/support/identifier_text.h"

#include <gtest/gtest.h>

namespace {

using item_notifications = test::mail_events;

TEST_F(item_notifications, have_fixed_identifiers)
{
    EXPECT_EQ(test::identifier_text(IID_IMailItemNotifications), "7D2D078B-9609-4459-BA93-68E419354924");
    EXPECT_EQ(test::identifier_text(IID_IMailItemEventHandler), "5E0A3C6F-7B0D-4D5B-8E3B-1C0B6C5241A7");
    EXPECT_EQ(NotAdvised, 0xFEFEFEFEU);
    EXPECT_EQ(static_cast<std::uint32_t>(CannotConnect), 0x80040202U);
}

TEST_F(item_notifications, number_their_connections_from_one)
{
    CProxyItemNotifications point;
    std::uint32_t cookie = NotAdvised;
    for (const std::uint32_t expected : {1U, 2U, 3U}) {
        ASSERT_EQ(point.Advise(static_cast<IMailItemNotifications*>(events.get()), cookie), S_OK);
        EXPECT_EQ(cookie, expected);
        point.Unadvise(cookie);
    }
}

TEST_F(item_notifications, connect_only_what_implements_them)
{
    CProxyItemNotifications point;
    std::uint32_t cookie = NotAdvised;
    store.refuse_each_way("object.QueryInterface", E_NOINTERFACE,
                          [&](HRESULT) { EXPECT_EQ(point.Advise(item.get(), cookie), CannotConnect); });
    EXPECT_EQ(cookie, NotAdvised);
}

TEST_F(item_notifications, are_an_interface_of_the_events_beside_identity)
{
    for (const IID& iid : {IID_IUnknown, IID_IMailItemNotifications}) {
        ComPtr<IMailItemNotifications> found;
        EXPECT_EQ(Query(events.get(), iid, found), S_OK);
        EXPECT_EQ(found.get(), events.get());
    }
    ComPtr<IMailItemEventHandler> none;
    EXPECT_EQ(Query(events.get(), IID_IMailItemEventHandler, none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
}

TEST_F(item_notifications, reach_the_handler_by_its_interfaces_and_identity_only)
{
    const auto handler = MakeCom<CMailItemEventHandler>(source);
    const ComPtr<IUnknown> identity(static_cast<IMailItemEventHandler*>(handler.get()));
    for (const IID& iid : {IID_IUnknown, IID_IMailItemEventHandler}) {
        ComPtr<IUnknown> found;
        EXPECT_EQ(Query(identity.get(), iid, found), S_OK);
        EXPECT_EQ(found, identity);
    }
    ComPtr<IUnknown> none;
    EXPECT_EQ(Query(identity.get(), IID_IMailItemNotifications, none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
}

} // namespace
