#include "tests/tool/asyncio/reading_conduit.h"
#include "tool/asyncio/channel.h"
#include "tool/asyncio/endpoint_posix.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <memory>
#include <poll.h>
#include <string_view>
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

/// Starts a read on the conduit, which is bound to no port, and finishes it once `peer` has acted. Returns true if
/// `done` was filled.
template <class Act>
bool finished_read(test::reading_conduit& connected, std::array<char, 16>& bytes, tpl::completion& done, Act act)
{
    EXPECT_EQ(start_read(connected.handle(), bytes), 997U);
    act(connected.peer());
    pollfd asked{connected.handle()->descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&asked, 1, 60000), 1);
    const bool filled = connected.handle()->finish_read(done);
    const std::unique_ptr<tpl::io_context> context(filled ? done.context : nullptr);
    EXPECT_EQ(context != nullptr ? context->InternalHigh : 99U, done.transferred);
    return filled;
}

TEST(Endpoint, FillsTheWholeCompletionOfARead)
{
    test::reading_conduit connected;
    std::array<char, 16> bytes{};
    tpl::completion done{false, 10054, 77, &connected, nullptr};
    ASSERT_TRUE(finished_read(connected, bytes, done, [](auto& peer) { EXPECT_TRUE(peer.send("four")); }));
    EXPECT_TRUE(done.succeeded);
    EXPECT_EQ(done.error, 0U);
    EXPECT_EQ(done.transferred, 4U);
    EXPECT_EQ(done.key, nullptr);
    EXPECT_NE(done.context, nullptr);
    EXPECT_EQ(std::string_view(bytes.data(), 4), "four");
}

TEST(Endpoint, FillsTheCompletionOfABrokenConnectionWithItsCode)
{
    test::reading_conduit connected;
    std::array<char, 16> bytes{};
    tpl::completion done;
    ASSERT_TRUE(finished_read(connected, bytes, done, [](auto& peer) { peer.reset(); }));
    EXPECT_FALSE(done.succeeded);
    EXPECT_EQ(done.error, 10054U);
    EXPECT_EQ(done.transferred, 0U);
}

TEST(Endpoint, GivesTheCountOfTheReadsRecordWhereTheCompletionHasNone)
{
    tpl::channel channel(1, 1);
    test::reading_conduit connected;
    ASSERT_TRUE(channel.attach(connected));
    auto context = std::make_unique<test::tracked_context>();
    context->InternalHigh = 5;
    auto& bytes = context->bytes;
    ASSERT_EQ(connected.handle()->start_read(bytes.data(), bytes.size(), context.release()), 997U);
    connected.handle()->cancel_read();
    const auto done = connected.next();
    EXPECT_EQ(done.error, 995U);
    EXPECT_EQ(done.transferred, 5U);
    channel.stop();
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
