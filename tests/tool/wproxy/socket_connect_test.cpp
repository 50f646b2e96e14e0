#include "tests/tool/wproxy/socket_fixture.h"

#include <gtest/gtest.h>

namespace {

using test::strings;
namespace events = web::network_event;

class SocketConnect : public test::SocketOnFakePlatform
{
protected:
    void SetUp() override { make(false); }
    [[nodiscard]] std::string raised_by_connect()
    {
        return raised_by([&] { socket->connect(web::make_socket_address(0x7F000001, 1344)); });
    }
    const std::string start = "500 socket(SOCKET) connect: thread impersonated by 'someone'";
    const std::string blocked = "300 socket(SOCKET) could not connect: socket is blocked (WSAEWOULDBLOCK)";
};

TEST_F(SocketConnect, GoesStraightToTheEventsOfAConnectedSocketWhenItSucceedsAtOnce)
{
    EXPECT_EQ(raised_by_connect(), "nothing");
    EXPECT_EQ(calls(), (strings{"current_user_name", "connect", "event_select 34"}));
    EXPECT_EQ(logged(), strings{start});
    EXPECT_TRUE(socket->is_connected());
    EXPECT_EQ(web::host_number(platform.asked), 0x7F000001U);
    EXPECT_EQ(web::port_number(platform.asked), 1344U);
    EXPECT_EQ(platform.asked.family, 2U);
}

TEST_F(SocketConnect, ReturnsWhenItIsConnectedAlready)
{
    make(true);
    EXPECT_EQ(raised_by_connect(), "nothing");
    EXPECT_EQ(calls(), strings{"current_user_name"});
    EXPECT_EQ(logged(), strings{"300 socket(SOCKET) already connected: thread impersonated by 'someone'"});
}

TEST_F(SocketConnect, TwiceIsSuchACase)
{
    socket->connect({});
    forget();
    socket->connect({});
    EXPECT_EQ(logged(), strings{"300 socket(SOCKET) already connected: thread impersonated by 'someone'"});
}

TEST_F(SocketConnect, NamesTheUserOfTheThreadAtThatMoment)
{
    platform.user = "impersonated one";
    socket->connect({});
    EXPECT_EQ(logged(), strings{"500 socket(SOCKET) connect: thread impersonated by 'impersonated one'"});
}

TEST_F(SocketConnect, RaisesAnyOtherCodeOfTheCall)
{
    for (const std::uint32_t code : {10061U, 10049U, 10038U, 10036U, 997U}) {
        forget();
        platform.will_give("connect", {code});
        EXPECT_EQ(raised_by_connect(), std::to_string(code));
        EXPECT_EQ(logged(),
                  (strings{start, "200 socket(SOCKET) could not connect with error " + std::to_string(code)}));
        EXPECT_EQ(calls(), (strings{"current_user_name", "connect"}));
        EXPECT_FALSE(socket->is_connected());
    }
}

TEST_F(SocketConnect, WaitsForABlockedSocket)
{
    platform.will_give("connect", {10035});
    platform.will_find(events::connect);
    EXPECT_EQ(raised_by_connect(), "nothing");
    EXPECT_EQ(calls(), (strings{"current_user_name", "connect", "wait 120000 alertable", "enum", "event_select 34"}));
    EXPECT_EQ(logged(), (strings{start, blocked}));
    EXPECT_TRUE(socket->is_connected());
}

TEST_F(SocketConnect, RaisesWhenTheWaitFails)
{
    platform.will_give("connect", {10035});
    platform.will_give("wait", {web::wait_code::failed});
    platform.wait_error = 10050;
    EXPECT_EQ(raised_by_connect(), "10050");
    EXPECT_EQ(logged(),
              (strings{start, blocked,
                       "200 socket(SOCKET) could not connect: wait for socket evet failed with error 10050"}));
    EXPECT_FALSE(socket->is_connected());
}

TEST_F(SocketConnect, RaisesWhenTheEventsCannotBeEnumerated)
{
    platform.will_give("connect", {10035});
    platform.will_give("enum", {10038});
    EXPECT_EQ(raised_by_connect(), "10038");
    EXPECT_EQ(logged(), (strings{start, blocked,
                                 "200 socket(SOCKET) could not connect: enum socket evet failed with error 10038"}));
    EXPECT_FALSE(socket->is_connected());
}

TEST_F(SocketConnect, ThatTakesTooLongEndsWithCode10107)
{
    platform.will_give("connect", {10035});
    platform.will_give("wait", {web::wait_code::timeout});
    EXPECT_EQ(raised_by_connect(), "10107");
    EXPECT_EQ(calls(), (strings{"current_user_name", "connect", "wait 120000 alertable", "enum"}));
    EXPECT_EQ(logged(),
              (strings{start, blocked, "200 socket(SOCKET) could not connect: FD_CONNECT event was not occured"}));
    EXPECT_FALSE(socket->is_connected());
}

TEST_F(SocketConnect, ThatIsInterruptedByACompletionRoutineEndsTheSameWay)
{
    platform.will_give("connect", {10035});
    platform.will_give("wait", {web::wait_code::io_completion});
    EXPECT_EQ(raised_by_connect(), "10107");
}

TEST_F(SocketConnect, NeedsTheConnectEventAmongOthers)
{
    platform.will_give("connect", {10035});
    platform.will_find(events::close | events::write);
    EXPECT_EQ(raised_by_connect(), "10107");
}

TEST_F(SocketConnect, TellsElapsedSecondsAndLocalAddressWhenRefused)
{
    platform.will_give("connect", {10035});
    platform.will_find(events::connect, events::connect_bit, 10061);
    platform.clock_values = {10500, 14499};
    EXPECT_EQ(raised_by_connect(), "10061, timeout=3, addr=0x7f000001, port=50123");
    EXPECT_EQ(calls(), (strings{"current_user_name", "connect", "wait 120000 alertable", "enum", "getsockname"}));
    EXPECT_EQ(logged(),
              (strings{start, blocked, "200 socket(SOCKET) could not connect: socket connect with error 10061"}));
    EXPECT_FALSE(socket->is_connected());
}

TEST_F(SocketConnect, LeavesTheLocalAddressOutWhereItIsUnknown)
{
    platform.will_give("connect", {10035});
    platform.will_give("getsockname", {10022});
    platform.will_find(events::connect | events::close, events::connect_bit, 10060);
    platform.clock_values = {0, 21000};
    EXPECT_EQ(raised_by_connect(), "10060, timeout=21");
}

TEST_F(SocketConnect, RaisesWhenTheEventsOfAConnectedSocketCannotBeSelected)
{
    platform.will_give("event_select", {10093});
    EXPECT_EQ(raised_by_connect(), "10093");
    EXPECT_EQ(logged(),
              (strings{start, "200 socket(SOCKET) could not connect: WSAEventSelect(FD_CLOSE | FD_WRITE) failed"}));
    EXPECT_FALSE(socket->is_connected());
}

TEST_F(SocketConnect, OfAClosedSocketRaisesWhatThePlatformSays)
{
    socket->close();
    forget();
    platform.will_give("connect", {10038});
    EXPECT_EQ(raised_by_connect(), "10038");
    EXPECT_EQ(calls(), (strings{"current_user_name", "connect(invalid)"}));
}

TEST_F(SocketConnect, AsksForNoUserNameWhenNothingIsLogged)
{
    logging::wpx_log().threshold(0);
    socket->connect({});
    EXPECT_EQ(calls(), (strings{"connect", "event_select 34"}));
    logging::wpx_log().threshold(500);
}

} // namespace
