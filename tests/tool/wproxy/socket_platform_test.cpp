#include "tests/support/loopback_socket.h"
#include "tool/system/win32_codes.h"
#include "tool/wproxy/socket_platform.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace socket_platform_test {

namespace events = web::network_event;
using test::loopback_socket;

constexpr std::uint32_t long_wait = 60000;

/// The system's sockets, one of them open, with its event.
class SystemSockets : public testing::Test
{
protected:
    void SetUp() override
    {
        handle = platform.open_socket();
        ASSERT_NE(handle, tpl::invalid_handle);
        event = platform.create_event();
        ASSERT_NE(event, nullptr);
    }
    void TearDown() override
    {
        if (handle != tpl::invalid_handle) {
            platform.closesocket(handle);
        }
        platform.close_event(event);
    }
    void connect()
    {
        auto listener = loopback_socket::listen();
        ASSERT_EQ(platform.connect(handle, web::make_socket_address(0x7F000001, listener.port())), 0U);
        peer = listener.accept();
    }
    std::uint32_t wait(std::uint32_t milliseconds)
    {
        std::uint32_t code = 99;
        const auto result = platform.wait_for_event(event, milliseconds, true, code);
        EXPECT_EQ(code, 0U);
        return result;
    }
    web::network_events enumerated()
    {
        web::network_events happened;
        EXPECT_EQ(platform.enum_network_events(handle, event, happened), 0U);
        return happened;
    }

    web::socket_platform& platform = web::system_socket_platform();
    tpl::native_handle handle = tpl::invalid_handle;
    web::socket_event event = nullptr;
    loopback_socket peer;
};

TEST_F(SystemSockets, GiveCode10038ForAnInvalidHandle)
{
    web::socket_address address;
    web::network_events happened;
    std::uint32_t sent = 0;
    std::array<char, 4> bytes{};
    tpl::io_context context;
    EXPECT_EQ(platform.connect(tpl::invalid_handle, address), 10038U);
    EXPECT_EQ(platform.getsockname(tpl::invalid_handle, address), 10038U);
    EXPECT_EQ(platform.event_select(tpl::invalid_handle, event, events::close), 10038U);
    EXPECT_EQ(platform.enum_network_events(tpl::invalid_handle, event, happened), 10038U);
    EXPECT_EQ(platform.send(tpl::invalid_handle, bytes.data(), bytes.size(), sent), 10038U);
    EXPECT_EQ(platform.recv(tpl::invalid_handle, bytes.data(), bytes.size(), &context), 10038U);
    EXPECT_EQ(platform.send_disconnect(tpl::invalid_handle), 10038U);
    EXPECT_EQ(platform.recv_disconnect(tpl::invalid_handle), 10038U);
}

TEST_F(SystemSockets, GiveCode10057WhereNothingIsConnected)
{
    std::uint32_t sent = 0;
    std::array<char, 4> bytes{};
    tpl::io_context context;
    const auto code = platform.send(handle, bytes.data(), bytes.size(), sent);
    EXPECT_TRUE(code == 10057 || code == 10054) << code; // Wine reports a broken connection
    EXPECT_EQ(platform.recv(handle, bytes.data(), bytes.size(), &context), 10057U);
    EXPECT_EQ(platform.send_disconnect(handle), 10057U);
}

TEST_F(SystemSockets, TellNothingOfASocketThatNeverConnected)
{
    ASSERT_EQ(platform.event_select(handle, event, events::close | events::connect | events::write), 0U);
    EXPECT_EQ(enumerated().events, 0U);
}

TEST_F(SystemSockets, ConnectWithoutBlockingOnceEventsAreSelected)
{
    auto listener = loopback_socket::listen();
    ASSERT_EQ(platform.event_select(handle, event, events::close | events::connect | events::write), 0U);
    const auto code = platform.connect(handle, web::make_socket_address(0x7F000001, listener.port()));
    EXPECT_TRUE(code == 0 || code == 10035) << code;
    EXPECT_EQ(wait(long_wait), web::wait_code::signalled);
    const auto happened = enumerated();
    EXPECT_NE(happened.events & events::connect, 0U);
    EXPECT_EQ(happened.error[events::connect_bit], 0U);
    EXPECT_EQ(enumerated().events & events::connect, 0U) << "an event is told once";
}

TEST_F(SystemSockets, TellTheCodeOfARefusedConnectionWithTheEvent)
{
    std::uint16_t port = 0;
    {
        auto listener = loopback_socket::listen();
        port = listener.port();
    }
    ASSERT_EQ(platform.event_select(handle, event, events::close | events::connect | events::write), 0U);
    ASSERT_EQ(platform.connect(handle, web::make_socket_address(0x7F000001, port)), 10035U);
    EXPECT_EQ(wait(long_wait), web::wait_code::signalled);
    const auto happened = enumerated();
    EXPECT_NE(happened.events & events::connect, 0U);
    EXPECT_EQ(happened.error[events::connect_bit], 10061U);
}

TEST_F(SystemSockets, TimeOutAWaitForWhatDoesNotHappen)
{
    connect();
    ASSERT_EQ(platform.event_select(handle, event, events::close), 0U);
    EXPECT_EQ(wait(0), web::wait_code::timeout);
    EXPECT_EQ(wait(20), web::wait_code::timeout);
    EXPECT_EQ(enumerated().events, 0U);
}

TEST_F(SystemSockets, TellOnceThatThePeerHasClosed)
{
    connect();
    ASSERT_EQ(platform.event_select(handle, event, events::close), 0U);
    peer.close();
    EXPECT_EQ(wait(long_wait), web::wait_code::signalled);
    EXPECT_EQ(enumerated().events, events::close);
    EXPECT_EQ(enumerated().events, 0U);
}

TEST_F(SystemSockets, TellThatASocketCanBeWritten)
{
    connect();
    ASSERT_EQ(platform.event_select(handle, event, events::close | events::write), 0U);
    EXPECT_EQ(wait(long_wait), web::wait_code::signalled);
    const auto happened = enumerated();
    EXPECT_EQ(happened.events, events::write);
    EXPECT_EQ(happened.error[events::write_bit], 0U);
}

TEST_F(SystemSockets, GiveCode10035WhenTheConnectionIsFull)
{
    connect();
    ASSERT_EQ(platform.event_select(handle, event, events::close | events::write), 0U);
    const std::string block(1U << 20U, 'x');
    std::uint32_t code = 0;
    for (int count = 0; count < 4096 && code == 0; ++count) {
        std::uint32_t sent = 99;
        code = platform.send(handle, block.data(), static_cast<std::uint32_t>(block.size()), sent);
        EXPECT_EQ(sent == 0, code != 0);
    }
    EXPECT_EQ(code, 10035U);
}

TEST_F(SystemSockets, SendNoBytesWithSuccess)
{
    connect();
    std::uint32_t sent = 99;
    errno = EAGAIN;
    EXPECT_EQ(platform.send(handle, "", 0, sent), 0U);
    EXPECT_EQ(sent, 0U);
}

TEST_F(SystemSockets, TellBothEndsOfAConnection)
{
    connect();
    web::socket_address local;
    ASSERT_EQ(platform.getsockname(handle, local), 0U);
    EXPECT_EQ(web::host_number(local), 0x7F000001U);
    EXPECT_NE(web::port_number(local), 0U);
}

TEST_F(SystemSockets, EndTheirSendingForThePeer)
{
    connect();
    ASSERT_EQ(platform.send_disconnect(handle), 0U);
    char byte = 0;
    EXPECT_EQ(peer.receive(&byte, 1), 0U);
    std::uint32_t sent = 0;
    EXPECT_EQ(platform.send(handle, "x", 1, sent), 10058U);
}

TEST_F(SystemSockets, ReadNoMoreOnceReceivingIsDisconnected)
{
    connect();
    ASSERT_EQ(platform.recv_disconnect(handle), 0U);
    std::array<char, 4> bytes{};
    tpl::io_context context;
    EXPECT_EQ(platform.recv(handle, bytes.data(), bytes.size(), &context), 10058U);
}

TEST_F(SystemSockets, KeepTheLastErrorOfTheThread)
{
    platform.set_last_error(6);
    EXPECT_EQ(winapi::last_error_code(), 6U);
    platform.set_last_error(0);
    EXPECT_EQ(winapi::last_error_code(), 0U);
}

TEST_F(SystemSockets, KnowTheUser)
{
    EXPECT_FALSE(platform.current_user_name().empty());
}

/// The clock is compared with another over a span that both measure, however long it takes to come about.
TEST_F(SystemSockets, CountMillisecondsOfWallTime)
{
    using namespace std::chrono;
    constexpr std::int64_t span = 100;
    constexpr milliseconds resolution{20};
    const auto outer_start = steady_clock::now();
    const std::int64_t start = platform.clock();
    const auto inner_start = steady_clock::now();
    std::int64_t end = start;
    auto inner_end = inner_start;
    while (end - start < span) {
        ASSERT_LT(inner_end - inner_start, milliseconds(long_wait)) << "the clock does not move";
        inner_end = steady_clock::now();
        end = platform.clock();
    }
    const auto outer_end = steady_clock::now();
    const milliseconds measured{end - start};
    EXPECT_GE(measured + resolution, inner_end - inner_start);
    EXPECT_LE(measured - resolution, outer_end - outer_start);
}

} // namespace socket_platform_test
