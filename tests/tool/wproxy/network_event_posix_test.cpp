#include "tests/support/loopback_socket.h"
#include "tool/wproxy/network_event_posix.h"
#include "tool/wproxy/socket_platform.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace network_event_posix_test {

namespace events = web::network_event;

/// Two connected descriptors.
class DescriptorPair : public testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()), 0); }
    void TearDown() override
    {
        ::close(ends[0]);
        ::close(ends[1]);
    }
    std::uint32_t taken(web::posix_event& event) const
    {
        web::network_events happened;
        EXPECT_EQ(event.take(ends[0], happened), 0U);
        return happened.events;
    }

    std::array<int, 2> ends{-1, -1};
};

TEST_F(DescriptorPair, IsConnectedOnceItCanBeWritten)
{
    const std::array<char, 4096> block{};
    while (::write(ends[0], block.data(), block.size()) > 0) {
    }
    ASSERT_EQ(errno, EAGAIN);
    web::posix_event event;
    event.select(ends[0], events::connect);
    EXPECT_EQ(taken(event), 0U);
    std::array<char, 4096> bytes{};
    while (::read(ends[1], bytes.data(), bytes.size()) > 0) {
    }
    EXPECT_EQ(taken(event), events::connect);
}

TEST(NetworkEvent, TellsOfASocketShutOnBothSidesThatItWasConnected)
{
    auto& platform = web::system_socket_platform();
    auto listener = test::loopback_socket::listen();
    const auto handle = platform.open_socket();
    ASSERT_EQ(platform.connect(handle, web::make_socket_address(0x7F000001, listener.port())), 0U);
    const auto peer = listener.accept();
    const int descriptor = handle->descriptor();
    ASSERT_EQ(::shutdown(descriptor, SHUT_RDWR), 0);
    web::posix_event event;
    event.select(descriptor, events::close | events::write);
    web::network_events happened;
    EXPECT_EQ(event.take(descriptor, happened), 0U);
    EXPECT_EQ(happened.events, events::close | events::write);
    EXPECT_EQ(event.take(descriptor, happened), 0U);
    EXPECT_EQ(happened.events, events::write);
    EXPECT_FALSE(web::never_connected(descriptor));
    platform.closesocket(handle);
}

/// Sends signals to the process; the last of them ends the sending side of a descriptor.
class interrupting_signals
{
public:
    explicit interrupting_signals(int descriptor)
    {
        ended_by_signal = descriptor;
        remaining = 5;
        struct sigaction action
        {};
        action.sa_handler = [](int) {
            if (--remaining == 0) {
                ::shutdown(ended_by_signal, SHUT_WR);
            }
        };
        EXPECT_EQ(::sigaction(SIGALRM, &action, &before_), 0);
        const itimerval often{{0, 20000}, {0, 20000}};
        EXPECT_EQ(::setitimer(ITIMER_REAL, &often, nullptr), 0);
    }
    interrupting_signals(const interrupting_signals&) = delete;
    interrupting_signals& operator=(const interrupting_signals&) = delete;
    ~interrupting_signals()
    {
        const itimerval never{};
        ::setitimer(ITIMER_REAL, &never, nullptr);
        ::sigaction(SIGALRM, &before_, nullptr);
    }

private:
    static inline std::atomic<int> ended_by_signal{-1};
    static inline std::atomic<int> remaining{0};
    struct sigaction before_
    {};
};

TEST_F(DescriptorPair, IsWaitedForThroughSignals)
{
    web::posix_event event;
    event.select(ends[0], events::close);
    const interrupting_signals signals(ends[1]);
    std::uint32_t code = 99;
    EXPECT_EQ(event.wait(60000, code), web::wait_code::signalled);
    EXPECT_EQ(code, 0U);
    EXPECT_EQ(taken(event), events::close);
}

} // namespace network_event_posix_test
