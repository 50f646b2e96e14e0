#include "tests/tool/asyncio/reading_conduit.h"
#include "tool/asyncio/channel.h"
#include "tool/asyncio/endpoint_posix.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <memory>
#include <sys/socket.h>

namespace {

/// Starts a read whose context the endpoint then owns.
std::uint32_t start_read(tpl::native_handle handle, std::array<char, 16>& bytes)
{
    auto context = std::make_unique<test::tracked_context>();
    auto* const raw = context.release();
    const auto code = handle->start_read(bytes.data(), bytes.size(), raw);
    if (code != 997) {
        context.reset(raw);
    }
    return code;
}

TEST(Endpoint, TakesOneReadAtATime)
{
    test::reading_conduit connected;
    std::array<char, 16> bytes{};
    EXPECT_EQ(start_read(connected.handle(), bytes), 997U);
    EXPECT_EQ(start_read(connected.handle(), bytes), 10036U);
}

TEST(Endpoint, FreesTheReadThatNobodyCanCompleteWhenItCloses)
{
    const auto before = test::tracked_context::alive();
    {
        test::reading_conduit connected; // bound to no channel
        std::array<char, 16> bytes{};
        ASSERT_EQ(start_read(connected.handle(), bytes), 997U);
        ASSERT_TRUE(connected.peer().send("bytes"));
    }
    EXPECT_EQ(test::tracked_context::alive(), before);
}

TEST(Endpoint, OutlivesItsChannel)
{
    const auto before = test::tracked_context::alive();
    {
        test::reading_conduit connected;
        {
            tpl::channel channel(1, 1);
            ASSERT_TRUE(channel.attach(connected));
            ASSERT_EQ(connected.start_read(), 0U);
        }
        ASSERT_TRUE(connected.peer().send("nobody takes it"));
    }
    EXPECT_EQ(test::tracked_context::alive(), before);
}

TEST(Endpoint, RefusesReadsOnceToldTo)
{
    test::reading_conduit connected;
    std::array<char, 16> bytes{};
    connected.handle()->refuse_reads();
    EXPECT_EQ(start_read(connected.handle(), bytes), 10058U);
}

TEST(Endpoint, RefusesAReadOnASocketThatIsNotConnected)
{
    const auto handle = tpl::open_endpoint(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    std::array<char, 16> bytes{};
    EXPECT_EQ(start_read(handle, bytes), 10057U);
    tpl::close_endpoint(handle);
}

TEST(Endpoint, CannotBeBoundWhenItHasNoHandle)
{
    tpl::completion_port port(1);
    EXPECT_FALSE(port.attach(tpl::invalid_handle, nullptr));
}

TEST(WinsockCode, SaysOfASocketWhatWinsockSays)
{
    EXPECT_EQ(tpl::winsock_code(EBADF), 10038U);
    EXPECT_EQ(tpl::winsock_code(ENOTSOCK), 10038U);
    EXPECT_EQ(tpl::winsock_code(EINVAL), 10022U);
    EXPECT_EQ(tpl::winsock_code(EFAULT), 10014U);
    EXPECT_EQ(tpl::winsock_code(EACCES), 10013U);
    EXPECT_EQ(tpl::winsock_code(EPERM), 10013U);
    EXPECT_EQ(tpl::winsock_code(EMFILE), 10024U);
    EXPECT_EQ(tpl::winsock_code(ENFILE), 10024U);
    EXPECT_EQ(tpl::winsock_code(ENOMEM), 10055U);
    EXPECT_EQ(tpl::winsock_code(EAGAIN), 10035U);
    EXPECT_EQ(tpl::winsock_code(EPIPE), 10058U);
    EXPECT_EQ(tpl::winsock_code(ECONNRESET), 10054U);
    EXPECT_EQ(tpl::winsock_code(ECONNABORTED), 10053U);
    EXPECT_EQ(tpl::winsock_code(ECONNREFUSED), 10061U);
    EXPECT_EQ(tpl::winsock_code(ETIMEDOUT), 10060U);
    EXPECT_EQ(tpl::winsock_code(ENOTCONN), 10057U);
    EXPECT_EQ(tpl::winsock_code(EISCONN), 10056U);
    EXPECT_EQ(tpl::winsock_code(EALREADY), 10037U);
    EXPECT_EQ(tpl::winsock_code(EADDRINUSE), 10048U);
    EXPECT_EQ(tpl::winsock_code(ENETUNREACH), 10051U);
    EXPECT_EQ(tpl::winsock_code(EHOSTUNREACH), 10065U);
}

} // namespace
