#include "tests/support/loopback_socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

namespace test {

namespace {

constexpr int send_seconds = 20;

int number(std::intptr_t handle) noexcept
{
    return static_cast<int>(handle);
}

sockaddr_in loopback() noexcept
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void set_options(std::intptr_t handle) noexcept
{
    const int on = 1;
    ::setsockopt(number(handle), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const timeval limit{send_seconds, 0};
    ::setsockopt(number(handle), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

} // namespace

loopback_socket::loopback_socket(loopback_socket&& other) noexcept
    : handle_(std::exchange(other.handle_, closed_handle))
{}

loopback_socket& loopback_socket::operator=(loopback_socket&& other) noexcept
{
    if (this != &other) {
        close();
        handle_ = std::exchange(other.handle_, closed_handle);
    }
    return *this;
}

loopback_socket::~loopback_socket()
{
    close();
}

loopback_socket loopback_socket::listen()
{
    loopback_socket made(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = loopback();
    if (!made.is_open() ||
        ::bind(number(made.handle_), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(number(made.handle_), SOMAXCONN) != 0) {
        throw std::runtime_error("cannot listen on the loopback interface");
    }
    return made;
}

loopback_socket loopback_socket::connect(std::uint16_t port)
{
    loopback_socket made(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!made.is_open()) {
        throw std::runtime_error("cannot make a socket");
    }
    sockaddr_in address = loopback();
    address.sin_port = htons(port);
    if (::connect(number(made.handle_), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        made.close();
        return made;
    }
    set_options(made.handle_);
    return made;
}

std::uint16_t loopback_socket::port() const
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (::getsockname(number(handle_), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::runtime_error("no local address");
    }
    return ntohs(address.sin_port);
}

loopback_socket loopback_socket::accept()
{
    loopback_socket taken(::accept(number(handle_), nullptr, nullptr));
    if (!taken.is_open()) {
        throw std::runtime_error("cannot accept");
    }
    set_options(taken.handle_);
    return taken;
}

bool loopback_socket::wait_readable(int milliseconds)
{
    pollfd wanted{number(handle_), POLLIN, 0};
    return ::poll(&wanted, 1, milliseconds) > 0;
}

std::size_t loopback_socket::receive(char* destination, std::size_t size)
{
    const auto count = ::recv(number(handle_), destination, size, 0);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool loopback_socket::send(std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto count = ::send(number(handle_), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void loopback_socket::end_sending() noexcept
{
    ::shutdown(number(handle_), SHUT_WR);
}

void loopback_socket::close() noexcept
{
    if (is_open()) {
        ::close(number(std::exchange(handle_, closed_handle)));
    }
}

void loopback_socket::reset() noexcept
{
    if (is_open()) {
        const linger hard{1, 0};
        ::setsockopt(number(handle_), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        close();
    }
}

} // namespace test
