#include "outlook/qdmailprotect/check/mail_item_event_handler.h"
#include "outlook/qdmailprotect/check/notification_point.h"
#include "tests/outlook/qdmailprotect/check/mail_events_fixture.h"
#include "tests/outlook/qdmailprotect/support/identifier_text.h"
#include "tests/support/failing_new.h"

#include <gtest/gtest.h>

#include <array>

namespace {

/// A handler that listens to the item for the events, seen as a connectable object.
class notification_point : public test::mail_events
{
protected:
    void SetUp() override
    {
        EXPECT_EQ(handler->Advise(owner(), item.get()), S_OK);
        ASSERT_EQ(Query(static_cast<IMailItemEventHandler*>(handler.get()), IID_IConnectionPointContainer, container),
                  S_OK);
        ASSERT_EQ(container->FindConnectionPoint(IID_IMailItemNotifications, Receive(point)), S_OK);
    }
    void TearDown() override
    {
        handler->Unadvise();
        point.reset();
        container.reset();
        handler.reset(); // it holds its item to the end
        mail_events::TearDown();
    }
    [[nodiscard]] IUnknown* owner() const { return static_cast<IMailItemNotifications*>(events.get()); }
    /// Returns the references to an object, with none added by this call.
    static ULONG references(IUnknown* object)
    {
        object->AddRef();
        return object->Release();
    }

    ComPtr<CMailItemEventHandler> handler = MakeCom<CMailItemEventHandler>(source);
    ComPtr<IConnectionPointContainer> container;
    ComPtr<IConnectionPoint> point;
};

TEST_F(notification_point, has_the_identifiers_of_connectable_objects)
{
    EXPECT_EQ(test::identifier_text(IID_IConnectionPointContainer), "B196B284-BAB4-101A-B69C-00AA00341D07");
    EXPECT_EQ(test::identifier_text(IID_IEnumConnectionPoints), "B196B285-BAB4-101A-B69C-00AA00341D07");
    EXPECT_EQ(test::identifier_text(IID_IConnectionPoint), "B196B286-BAB4-101A-B69C-00AA00341D07");
    EXPECT_EQ(test::identifier_text(IID_IEnumConnections), "B196B287-BAB4-101A-B69C-00AA00341D07");
    EXPECT_EQ(static_cast<std::uint32_t>(CONNECT_E_NOCONNECTION), 0x80040200U);
}

TEST_F(notification_point, is_found_by_the_notifications_alone)
{
    IID iid{};
    EXPECT_EQ(point->GetConnectionInterface(&iid), S_OK);
    EXPECT_EQ(iid, IID_IMailItemNotifications);
    ComPtr<IConnectionPoint> none(point);
    EXPECT_EQ(container->FindConnectionPoint(IID_IMailItemEventHandler, Receive(none)), CONNECT_E_NOCONNECTION);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(container->FindConnectionPoint(IID_IMailItemNotifications, nullptr), E_POINTER);
    EXPECT_EQ(point->GetConnectionInterface(nullptr), E_POINTER);
}

TEST_F(notification_point, is_an_object_of_its_own_that_leads_back_to_its_container)
{
    for (const IID& iid : {IID_IUnknown, IID_IConnectionPoint}) {
        ComPtr<IUnknown> found;
        EXPECT_EQ(Query(point.get(), iid, found), S_OK);
        EXPECT_EQ(found, point);
    }
    ComPtr<IUnknown> none;
    EXPECT_EQ(Query(point.get(), IID_IConnectionPointContainer, none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(point->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    ComPtr<IConnectionPointContainer> back;
    EXPECT_EQ(point->GetConnectionPointContainer(Receive(back)), S_OK);
    EXPECT_EQ(back, container);
    EXPECT_EQ(point->GetConnectionPointContainer(nullptr), E_POINTER);
}

TEST_F(notification_point, keeps_its_container_alive)
{
    const ULONG before = references(container.get());
    {
        ComPtr<IConnectionPoint> second;
        EXPECT_EQ(container->FindConnectionPoint(IID_IMailItemNotifications, Receive(second)), S_OK);
        EXPECT_EQ(references(container.get()), before + 1);
    }
    EXPECT_EQ(references(container.get()), before);
}

TEST_F(notification_point, is_the_one_that_its_container_enumerates)
{
    ComPtr<IEnumConnectionPoints> points;
    ASSERT_EQ(container->EnumConnectionPoints(Receive(points)), S_OK);
    std::array<IConnectionPoint*, 2> found{};
    ULONG fetched = 9;
    EXPECT_EQ(points->Next(2, found.data(), &fetched), S_FALSE);
    EXPECT_EQ(fetched, 1U);
    EXPECT_EQ(ComPtr<IConnectionPoint>(found[0], false), point);
    EXPECT_EQ(points->Next(1, found.data(), nullptr), S_FALSE);
    EXPECT_EQ(points->Reset(), S_OK);
    EXPECT_EQ(points->Next(1, found.data(), nullptr), S_OK);
    EXPECT_EQ(ComPtr<IConnectionPoint>(found[0], false), point);
    EXPECT_EQ(container->EnumConnectionPoints(nullptr), E_POINTER);
}

TEST_F(notification_point, notifies_an_object_that_connects_to_it)
{
    const auto second = new_events({});
    DWORD cookie = 0;
    ASSERT_EQ(point->Advise(static_cast<IMailItemNotifications*>(second.get()), &cookie), S_OK);
    EXPECT_EQ(cookie, 2U);
    source->of(item.get())->OnBeforeRead();
    EXPECT_EQ(check->items.size(), 2U) << "the owner and the second object";
    EXPECT_EQ(point->Unadvise(cookie), S_OK);
    source->of(item.get())->OnBeforeRead();
    EXPECT_EQ(check->items.size(), 3U);
    EXPECT_EQ(point->Unadvise(cookie), CONNECT_E_NOCONNECTION);
}

TEST_F(notification_point, connects_only_what_takes_notifications)
{
    DWORD cookie = 7;
    EXPECT_EQ(point->Advise(point.get(), &cookie), CannotConnect);
    EXPECT_EQ(cookie, 0U);
    EXPECT_EQ(point->Advise(nullptr, &cookie), E_POINTER);
    EXPECT_EQ(point->Advise(owner(), nullptr), E_POINTER);
}

TEST_F(notification_point, enumerates_its_connections_with_their_cookies)
{
    const auto second = new_events({});
    DWORD cookie = 0;
    ASSERT_EQ(point->Advise(static_cast<IMailItemNotifications*>(second.get()), &cookie), S_OK);
    ComPtr<IEnumConnections> connections;
    ASSERT_EQ(point->EnumConnections(Receive(connections)), S_OK);
    EXPECT_EQ(point->Unadvise(cookie), S_OK); // the enumerator holds what was connected
    std::array<CONNECTDATA, 2> found{};
    ULONG fetched = 0;
    ASSERT_EQ(connections->Next(2, found.data(), &fetched), S_OK);
    EXPECT_EQ(fetched, 2U);
    EXPECT_EQ(found[0].pUnk, owner());
    EXPECT_EQ(found[0].dwCookie, 1U);
    EXPECT_EQ(found[1].pUnk, static_cast<IMailItemNotifications*>(second.get()));
    EXPECT_EQ(found[1].dwCookie, 2U);
    for (const CONNECTDATA& each : found) {
        each.pUnk->Release();
    }
    EXPECT_EQ(point->EnumConnections(nullptr), E_POINTER);
}

TEST_F(notification_point, has_no_connection_once_the_handler_stopped)
{
    handler->Unadvise();
    ComPtr<IEnumConnections> connections;
    ASSERT_EQ(point->EnumConnections(Receive(connections)), S_OK);
    EXPECT_EQ(connections->Skip(0), S_OK);
    EXPECT_EQ(connections->Skip(1), S_FALSE);
}

TEST_F(notification_point, enumerators_answer_for_themselves_and_go_on_from_where_they_were_cloned)
{
    DWORD cookie = 0;
    ASSERT_EQ(point->Advise(owner(), &cookie), S_OK);
    ComPtr<IEnumConnections> connections;
    ASSERT_EQ(point->EnumConnections(Receive(connections)), S_OK);
    for (const IID& iid : {IID_IUnknown, IID_IEnumConnections}) {
        ComPtr<IUnknown> found;
        EXPECT_EQ(Query(connections.get(), iid, found), S_OK);
        EXPECT_EQ(found, connections);
    }
    ComPtr<IUnknown> none;
    EXPECT_EQ(Query(connections.get(), IID_IEnumConnectionPoints, none), E_NOINTERFACE);

    EXPECT_EQ(connections->Skip(1), S_OK);
    ComPtr<IEnumConnections> clone;
    ASSERT_EQ(connections->Clone(Receive(clone)), S_OK);
    CONNECTDATA found{};
    EXPECT_EQ(connections->Next(1, &found, nullptr), S_OK);
    found.pUnk->Release();
    EXPECT_EQ(clone->Next(1, &found, nullptr), S_OK);
    found.pUnk->Release();
    EXPECT_EQ(found.dwCookie, 2U);
    EXPECT_EQ(clone->Next(1, &found, nullptr), S_FALSE);
    EXPECT_EQ(connections->Clone(nullptr), E_POINTER);
}

TEST_F(notification_point, enumerators_refuse_a_call_that_has_no_place_for_their_answer)
{
    ComPtr<IEnumConnections> connections;
    ASSERT_EQ(point->EnumConnections(Receive(connections)), S_OK);
    std::array<CONNECTDATA, 2> found{};
    ULONG fetched = 9;
    EXPECT_EQ(connections->Next(2, found.data(), nullptr), E_POINTER);
    EXPECT_EQ(connections->Next(1, nullptr, &fetched), E_POINTER);
    EXPECT_EQ(fetched, 0U);
    EXPECT_EQ(connections->Skip(1), S_OK) << "nothing was taken";
}

TEST_F(notification_point, gives_no_object_when_memory_runs_out)
{
    ComPtr<IEnumConnectionPoints> points;
    ComPtr<IEnumConnections> connections;
    ASSERT_EQ(point->EnumConnections(Receive(connections)), S_OK);
    ComPtr<IEnumConnections> clone;
    const auto fails = [](auto call) {
        const test::failing_new none(1);
        return call();
    };
    EXPECT_EQ(fails([&] { return container->EnumConnectionPoints(Receive(points)); }), E_OUTOFMEMORY);
    EXPECT_EQ(points, nullptr);
    EXPECT_EQ(fails([&] { return connections->Clone(Receive(clone)); }), E_OUTOFMEMORY);
    EXPECT_EQ(clone, nullptr);
}

} // namespace
