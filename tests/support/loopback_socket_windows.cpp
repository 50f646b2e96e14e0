#include "tests/support/loopback_socket.h"

#include <winsock2.h>

#include <stdexcept>
#include <utility>

namespace test {

namespace {

constexpr DWORD send_milliseconds = 20000;

class winsock
{
public:
    winsock()
    {
        WSADATA data{};
        if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
            throw std::runtime_error("no Winsock");
        }
    }
    winsock(const winsock&) = delete;
    winsock& operator=(const winsock&) = delete;
    ~winsock() { WSACleanup(); }
};

void need_winsock()
{
    static const winsock started;
}

SOCKET number(std::intptr_t handle) noexcept
{
    return static_cast<SOCKET>(handle);
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
    const BOOL on = TRUE;
    ::setsockopt(number(handle), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
    const DWORD limit = send_milliseconds;
    ::setsockopt(number(handle), SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<const char*>(&limit), sizeof limit);
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
    need_winsock();
    loopback_socket made(static_cast<std::intptr_t>(::socket(AF_INET, SOCK_STREAM, 0)));
    const sockaddr_in address = loopback();
    if (!made.is_open() ||
        ::bind(number(made.handle_), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(number(made.handle_), SOMAXCONN) != 0) {
        throw std::runtime_error("cannot listen on the loopback interface");
    }
    return made;
}

loopback_socket loopback_socket::connect(std::uint16_t port)
{
    need_winsock();
    loopback_socket made(static_cast<std::intptr_t>(::socket(AF_INET, SOCK_STREAM, 0)));
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
    int size = sizeof address;
    if (::getsockname(number(handle_), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::runtime_error("no local address");
    }
    return ntohs(address.sin_port);
}

loopback_socket loopback_socket::accept()
{
    loopback_socket taken(static_cast<std::intptr_t>(::accept(number(handle_), nullptr, nullptr)));
    if (!taken.is_open()) {
        throw std::runtime_error("cannot accept");
    }
    set_options(taken.handle_);
    return taken;
}

bool loopback_socket::wait_readable(int milliseconds)
{
    fd_set wanted;
    FD_ZERO(&wanted);
    FD_SET(number(handle_), &wanted);
    timeval limit{milliseconds / 1000, (milliseconds % 1000) * 1000};
    return ::select(0, &wanted, nullptr, nullptr, &limit) > 0;
}

std::size_t loopback_socket::receive(char* destination, std::size_t size)
{
    const int count = ::recv(number(handle_), destination, static_cast<int>(size), 0);
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool loopback_socket::send(std::string_view bytes)
{
    while (!bytes.empty()) {
        const int count = ::send(number(handle_), bytes.data(), static_cast<int>(bytes.size()), 0);
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void loopback_socket::end_sending() noexcept
{
    ::shutdown(number(handle_), SD_SEND);
}

void loopback_socket::close() noexcept
{
    if (is_open()) {
        ::closesocket(number(std::exchange(handle_, closed_handle)));
    }
}

void loopback_socket::reset() noexcept
{
    if (is_open()) {
        const linger hard{1, 0};
        ::setsockopt(number(handle_), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&hard), sizeof hard);
        close();
    }
}

} // namespace test
