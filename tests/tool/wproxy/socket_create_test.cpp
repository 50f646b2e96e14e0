#include "tests/tool/wproxy/socket_fixture.h"

#include <gtest/gtest.h>

namespace {

using test::fake_platform;
using test::strings;

class SocketCreate : public test::SocketOnFakePlatform
{
protected:
    /// Returns the log lines of a constructor that throws: the test does not know the object's address.
    [[nodiscard]] strings logged_with_any_address() const
    {
        strings lines;
        for (const auto& line : log.lines()) {
            EXPECT_EQ(line.text.substr(0, 9), "socket(0x");
            lines.push_back(std::to_string(line.level) + " " + line.text.substr(line.text.find(')')));
        }
        return lines;
    }
};

TEST_F(SocketCreate, RefusesAnInvalidHandleWithCode6)
{
    EXPECT_EQ(raised_by([&] { web::socket made(tpl::invalid_handle, nullptr, &receiver, &receiver, false, platform); }),
              "6");
    EXPECT_EQ(logged_with_any_address(), strings{"200 ) constructor: invalid handle"});
    EXPECT_EQ(calls(), strings{"close_event"});
}

TEST_F(SocketCreate, AsksForCloseConnectAndWriteEvents)
{
    web::socket made(fake_platform::some_handle(), nullptr, &receiver, &receiver, false, platform);
    EXPECT_EQ(calls(), strings{"event_select 50"});
    EXPECT_EQ(logged(), strings{});
    EXPECT_FALSE(made.is_attached());
    EXPECT_FALSE(made.is_connected());
    EXPECT_TRUE(made.has_valid_handle());
    EXPECT_EQ(made.handle(), fake_platform::some_handle());
}

TEST_F(SocketCreate, RaisesThePlatformsCodeWhenEventsCannotBeSelected)
{
    platform.will_give("event_select", {10022});
    EXPECT_EQ(raised_by([&] {
                  web::socket made(fake_platform::some_handle(), &channel, &receiver, &receiver, false, platform);
              }),
              "10022");
    EXPECT_EQ(logged_with_any_address(),
              strings{"200 ) constructor: WSAEventSelect(FD_CLOSE | FD_CONNECT | FD_WRITE) failed"});
    EXPECT_EQ(calls(), (strings{"event_select 50", "closesocket", "close_event"})) << "the handle was taken over";
}

TEST_F(SocketCreate, BindsTheHandleToTheChannel)
{
    socket.emplace(fake_platform::some_handle(), &channel, &receiver, &receiver, false, platform);
    EXPECT_EQ(calls(), (strings{"event_select 50", "attach"}));
    EXPECT_EQ(logged(), strings{"500 socket(SOCKET) assigned to async channel = true"});
    EXPECT_TRUE(socket->is_attached());
}

TEST_F(SocketCreate, StaysDetachedWhenTheBindingFails)
{
    platform.attachable = false;
    socket.emplace(fake_platform::some_handle(), &channel, &receiver, &receiver, false, platform);
    EXPECT_EQ(logged(), strings{"500 socket(SOCKET) assigned to async channel = false"});
    EXPECT_FALSE(socket->is_attached());
}

TEST_F(SocketCreate, TakesWhetherItIsConnected)
{
    make(true);
    EXPECT_TRUE(socket->is_connected());
    make(false);
    EXPECT_FALSE(socket->is_connected());
}

TEST_F(SocketCreate, CanBeAttachedLater)
{
    make();
    EXPECT_FALSE(socket->attach(nullptr));
    EXPECT_EQ(calls(), strings{});
    EXPECT_TRUE(socket->attach(&channel));
    EXPECT_TRUE(socket->is_attached());
    EXPECT_EQ(calls(), strings{"attach"});
    EXPECT_EQ(logged(), strings{"500 socket(SOCKET) assigned to async channel = true"});
}

TEST_F(SocketCreate, ReportsALaterBindingThatFails)
{
    make();
    platform.attachable = false;
    EXPECT_FALSE(socket->attach(&channel));
    EXPECT_FALSE(socket->is_attached());
    EXPECT_EQ(logged(), strings{"500 socket(SOCKET) assigned to async channel = false"});
}

TEST_F(SocketCreate, ClosesAndTellsOfItsEnd)
{
    make_attached();
    const auto name = address_of(&*socket);
    socket.reset();
    EXPECT_EQ(calls(), (strings{"closesocket", "close_event"}));
    EXPECT_EQ(log.texts(), (strings{"socket(" + name + ") closed. assigned to channel = true",
                                    "socket(" + name + ") destroied. assigned on channel = true"}));
    for (const auto& line : log.lines()) {
        EXPECT_EQ(line.level, 500U);
    }
}

TEST_F(SocketCreate, DestroysAClosedSocketWithoutClosingAgain)
{
    make();
    socket->close();
    forget();
    const auto name = address_of(&*socket);
    socket.reset();
    EXPECT_EQ(calls(), strings{"close_event"});
    EXPECT_EQ(log.texts(), (strings{"socket(" + name + ") closed. assigned to channel = false",
                                    "socket(" + name + ") destroied. assigned on channel = false"}));
}

TEST_F(SocketCreate, DoesNothingInItsReservedOperation)
{
    make();
    static_cast<tpl::conduit&>(*socket).unused();
    EXPECT_EQ(calls(), strings{});
    EXPECT_EQ(logged(), strings{});
}

} // namespace
