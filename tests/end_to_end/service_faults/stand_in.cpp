#include "tests/end_to_end/service_faults/stand_in.h"

#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace test {

namespace {

constexpr int stand_in_tick = 20; ///< milliseconds

bool is_readable(int handle)
{
    pollfd waited{handle, POLLIN, 0};
    return ::poll(&waited, 1, stand_in_tick) > 0;
}

/// Returns a socket that listens on a port, or on a free one.
int listening_socket(std::uint16_t port)
{
    const int made = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (made < 0 || ::bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(made, SOMAXCONN) != 0) {
        throw std::runtime_error("the stand-in cannot listen");
    }
    return made;
}

} // namespace

stand_in::link::link(stand_in& owner, int handle)
    : owner_(owner)
    , handle_(handle)
    , thread_([this] {
        owner_.serve_one_(*this);
        ::shutdown(handle_, SHUT_RDWR);
    })
{}

stand_in::link::~link()
{
    thread_.join();
    ::close(handle_);
}

bool stand_in::link::need(std::size_t count)
{
    while (inbox_.size() < count) {
        if (owner_.stopped()) {
            return false;
        }
        if (!is_readable(handle_)) {
            continue;
        }
        std::array<char, 65536> bytes;
        const ssize_t taken = ::recv(handle_, bytes.data(), bytes.size(), 0);
        if (taken <= 0) {
            return false;
        }
        inbox_.append(bytes.data(), static_cast<std::size_t>(taken));
    }
    return true;
}

bool stand_in::link::take_until(std::string_view end, std::string& taken)
{
    while (inbox_.find(end) == std::string::npos) {
        if (!need(inbox_.size() + 1)) {
            return false;
        }
    }
    return take(inbox_.find(end) + end.size(), taken);
}

bool stand_in::link::take(std::size_t count, std::string& taken)
{
    if (!need(count)) {
        return false;
    }
    taken = inbox_.substr(0, count);
    inbox_.erase(0, count);
    return true;
}

void stand_in::link::send(std::string_view bytes)
{
    (void)::send(handle_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

void stand_in::link::reset_at_end()
{
    // A socket that is shut down sends no reset when it is closed; one that is connected anew to nothing does at once.
    sockaddr nowhere{};
    nowhere.sa_family = AF_UNSPEC;
    ::connect(handle_, &nowhere, sizeof nowhere);
}

stand_in::stand_in(handler serve_one)
    : serve_one_(std::move(serve_one))
    , listener_(listening_socket(0))
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

stand_in::~stand_in()
{
    leave();
}

void stand_in::leave()
{
    if (!thread_.joinable()) {
        return;
    }
    {
        const std::lock_guard guard(lock_);
        stopped_ = true;
    }
    thread_.join();
    links_.clear();
    ::close(std::exchange(listener_, -1));
}

void stand_in::come_back()
{
    stopped_ = false; // no other thread is there
    listener_ = listening_socket(port_);
    thread_ = std::thread([this] { serve(); });
}

void stand_in::serve()
{
    while (!stopped()) {
        if (is_readable(listener_)) {
            const int accepted = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (accepted >= 0) {
                links_.push_back(std::make_unique<link>(*this, accepted));
            }
        }
    }
}

bool stand_in::stopped()
{
    const std::lock_guard guard(lock_);
    return stopped_;
}

} // namespace test
