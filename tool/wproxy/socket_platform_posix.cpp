#include "tool/system/conversions.h"
#include "tool/system/identity.h"
#include "tool/system/win32_codes.h"
#include "tool/wproxy/network_event_posix.h"
#include "tool/wproxy/socket_platform.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace web {

namespace code = winapi::code;

namespace {

static_assert(sizeof(socket_address) == sizeof(sockaddr_in) && AF_INET == socket_address::ipv4);

const sockaddr* raw(const socket_address& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

sockaddr* raw(socket_address& address)
{
    return reinterpret_cast<sockaddr*>(&address);
}

int descriptor_of(tpl::native_handle handle)
{
    return handle == tpl::invalid_handle ? -1 : handle->descriptor();
}

std::uint32_t result_code(int result)
{
    return result >= 0 ? code::success : tpl::winsock_code(errno);
}

posix_event& event_of(socket_event event)
{
    return *static_cast<posix_event*>(event);
}

class posix_sockets final : public socket_platform
{
public:
    [[nodiscard]] tpl::native_handle open_socket() override
    {
        const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (descriptor < 0) {
            winapi::last_error_code(tpl::winsock_code(errno));
            return tpl::invalid_handle;
        }
        // A request is sent in several small writes; none of them may wait for the acknowledgement of the last.
        const int no_delay = 1;
        ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &no_delay, sizeof no_delay);
        return tpl::open_endpoint(descriptor);
    }

    [[nodiscard]] std::uint32_t connect(tpl::native_handle handle, const socket_address& address) override
    {
        if (::connect(descriptor_of(handle), raw(address), sizeof address) == 0) {
            return code::success;
        }
        return errno == EINPROGRESS ? code::would_block : tpl::winsock_code(errno);
    }

    [[nodiscard]] std::uint32_t getsockname(tpl::native_handle handle, socket_address& address) override
    {
        socklen_t size = sizeof address;
        return result_code(::getsockname(descriptor_of(handle), raw(address), &size));
    }

    void closesocket(tpl::native_handle handle) override { tpl::close_endpoint(handle); }

    [[nodiscard]] socket_event create_event() override { return std::make_unique<posix_event>().release(); }
    void close_event(socket_event event) override { const std::unique_ptr<posix_event> owned(&event_of(event)); }

    [[nodiscard]] std::uint32_t event_select(tpl::native_handle handle, socket_event event, std::uint32_t mask) override
    {
        if (handle == tpl::invalid_handle || handle->descriptor() < 0) {
            return code::not_socket;
        }
        if (const auto error = handle->make_non_blocking(); error != code::success) {
            return error;
        }
        event_of(event).select(handle->descriptor(), mask);
        return code::success;
    }

    [[nodiscard]] std::uint32_t enum_network_events(tpl::native_handle handle, socket_event event,
                                                    network_events& happened) override
    {
        return event_of(event).take(descriptor_of(handle), happened);
    }

    [[nodiscard]] std::uint32_t wait_for_event(socket_event event, std::uint32_t milliseconds, bool /*alertable*/,
                                               std::uint32_t& code) override
    {
        return event_of(event).wait(milliseconds, code);
    }

    [[nodiscard]] std::uint32_t recv(tpl::native_handle handle, char* destination, std::uint32_t size,
                                     tpl::io_context* context) override
    {
        return handle == tpl::invalid_handle ? code::not_socket : handle->start_read(destination, size, context);
    }

    [[nodiscard]] std::uint32_t send(tpl::native_handle handle, const char* source, std::uint32_t size,
                                     std::uint32_t& sent) override
    {
        ssize_t count = 0;
        do {
            count = ::send(descriptor_of(handle), source, size, MSG_NOSIGNAL);
        } while (count < 0 && errno == EINTR);
        sent = count < 0 ? 0 : static_cast<std::uint32_t>(count);
        if (count >= 0) {
            return code::success;
        }
        const int failure = errno;
        if (failure == EPIPE && never_connected(descriptor_of(handle))) {
            return code::not_connected; // an error of the caller, not the end of a connection
        }
        return tpl::winsock_code(failure);
    }

    [[nodiscard]] std::uint32_t send_disconnect(tpl::native_handle handle) override
    {
        return result_code(::shutdown(descriptor_of(handle), SHUT_WR));
    }

    [[nodiscard]] std::uint32_t recv_disconnect(tpl::native_handle handle) override
    {
        // Not SHUT_RD: it would complete the read under way as if the peer had closed.
        if (descriptor_of(handle) < 0) {
            return code::not_socket;
        }
        handle->refuse_reads();
        return code::success;
    }

    [[nodiscard]] std::uint32_t address_to_string(const socket_address& address, char* text,
                                                  std::uint32_t& size) override
    {
        char host[INET_ADDRSTRLEN] = {};
        if (::inet_ntop(AF_INET, &address.host, host, sizeof host) == nullptr) {
            return tpl::winsock_code(errno);
        }
        std::string full = host;
        if (address.port != 0) {
            full += ':' + std::to_string(port_number(address));
        }
        const auto needed = static_cast<std::uint32_t>(full.size() + 1);
        if (size < needed) {
            size = needed;
            return code::socket_fault;
        }
        std::memcpy(text, full.c_str(), needed);
        size = needed;
        return code::success;
    }

    [[nodiscard]] bool attach(tpl::channel& channel, tpl::conduit& conduit) override { return channel.attach(conduit); }
    [[nodiscard]] std::string current_user_name() override { return winapi::conv_to_char(winapi::current_user_name()); }
    [[nodiscard]] std::int64_t clock() override
    {
        const auto since_start = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::milliseconds>(since_start).count();
    }
    void set_last_error(std::uint32_t code) override { winapi::last_error_code(code); }
    void debug_break() override { static_cast<void>(std::raise(SIGTRAP)); }
};

} // namespace

socket_platform& system_socket_platform()
{
    static posix_sockets platform;
    return platform;
}

} // namespace web
