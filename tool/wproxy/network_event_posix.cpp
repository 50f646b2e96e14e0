#include "tool/wproxy/network_event_posix.h"

#include "tool/system/win32_codes.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace web {

namespace code = winapi::code;

namespace {

constexpr std::uint32_t no_time_out = 0xFFFFFFFF;
constexpr std::chrono::milliseconds longest_poll{0x7FFFFFFF};

/// Takes the error with which a connection attempt has ended.
std::uint32_t connect_result(int descriptor)
{
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
        error = errno;
    }
    return error == 0 ? code::success : tpl::winsock_code(error);
}

/// Returns true for a socket on which connect has not been called.
bool is_fresh(int descriptor, short ready)
{
    if ((ready & POLLHUP) == 0 || (ready & (POLLERR | POLLRDHUP)) != 0) {
        return false;
    }
    tcp_info information{};
    socklen_t size = sizeof information;
    return ::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &information, &size) == 0 &&
           information.tcpi_state == TCP_CLOSE;
}

} // namespace

bool never_connected(int descriptor)
{
    pollfd asked{descriptor, POLLRDHUP, 0};
    return ::poll(&asked, 1, 0) > 0 && is_fresh(descriptor, asked.revents);
}

void posix_event::select(int descriptor, std::uint32_t mask) noexcept
{
    descriptor_ = descriptor;
    mask_ = mask;
}

short posix_event::interest() const noexcept
{
    short events = 0;
    if ((mask_ & (network_event::write | network_event::connect)) != 0) {
        events |= POLLOUT;
    }
    if ((mask_ & network_event::close) != 0 && !close_told_) {
        events |= POLLRDHUP;
    }
    return events;
}

std::uint32_t posix_event::take(int descriptor, network_events& happened)
{
    happened = {};
    pollfd asked{descriptor, interest(), 0};
    if (descriptor < 0 || ::poll(&asked, 1, 0) < 0 || (asked.revents & POLLNVAL) != 0) {
        return code::not_socket;
    }
    const short ready = asked.revents;
    const bool ended = (ready & (POLLERR | POLLHUP)) != 0;
    if (is_fresh(descriptor, ready)) {
        return code::success;
    }
    if ((mask_ & network_event::connect) != 0) {
        if (ended || (ready & POLLOUT) != 0) {
            happened.events |= network_event::connect;
            happened.error[network_event::connect_bit] = connect_result(descriptor);
            mask_ &= ~network_event::connect;
        }
        return code::success;
    }
    if ((mask_ & network_event::write) != 0 && (ready & POLLOUT) != 0) {
        happened.events |= network_event::write;
    }
    if ((mask_ & network_event::close) != 0 && !close_told_ && (ended || (ready & POLLRDHUP) != 0)) {
        happened.events |= network_event::close;
        close_told_ = true;
    }
    return code::success;
}

std::uint32_t posix_event::wait(std::uint32_t milliseconds, std::uint32_t& code)
{
    using clock = std::chrono::steady_clock;
    code = winapi::code::success;
    const auto end = clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        int remaining = -1;
        if (milliseconds != no_time_out) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - clock::now());
            remaining = static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), longest_poll).count());
        }
        pollfd asked{descriptor_, interest(), 0};
        const int count = ::poll(&asked, 1, remaining);
        if (count > 0) {
            return wait_code::signalled;
        }
        if (count == 0 && remaining != -1 && clock::now() >= end) {
            return wait_code::timeout;
        }
        if (count < 0 && errno != EINTR) {
            code = tpl::winsock_code(errno);
            return wait_code::failed;
        }
    }
}

} // namespace web
