#include "tool/system/conversions.h"
#include "tool/system/errors.h"
#include "tool/system/identity.h"
#include "tool/wproxy/socket_platform.h"

#include <winsock2.h>

#include <algorithm>
#include <ctime>

namespace web {

namespace {

std::uint32_t result_code(int result)
{
    return result == 0 ? 0 : static_cast<std::uint32_t>(::WSAGetLastError());
}

const sockaddr* raw(const socket_address& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

sockaddr* raw(socket_address& address)
{
    return reinterpret_cast<sockaddr*>(&address);
}

class winsock final : public socket_platform
{
public:
    winsock()
    {
        WSADATA data{};
        if (const int failure = ::WSAStartup(MAKEWORD(2, 2), &data); failure != 0) {
            throw error::win32exception(static_cast<std::uint32_t>(failure), "tool\\wproxy\\socket", __LINE__);
        }
        // Never cleaned up: sockets may live until the process ends.
    }

    [[nodiscard]] tpl::native_handle open_socket() override
    {
        const SOCKET handle = ::socket(AF_INET, SOCK_STREAM, 0);
        if (handle != INVALID_SOCKET) {
            // A request is sent in several small writes; none of them may wait for the acknowledgement of the last.
            const BOOL no_delay = TRUE;
            ::setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&no_delay), sizeof no_delay);
        }
        return handle;
    }

    [[nodiscard]] std::uint32_t connect(tpl::native_handle handle, const socket_address& address) override
    {
        return result_code(::connect(handle, raw(address), sizeof address));
    }

    [[nodiscard]] std::uint32_t getsockname(tpl::native_handle handle, socket_address& address) override
    {
        int size = sizeof address;
        return result_code(::getsockname(handle, raw(address), &size));
    }

    void closesocket(tpl::native_handle handle) override { ::closesocket(handle); }

    [[nodiscard]] socket_event create_event() override
    {
        const WSAEVENT event = ::WSACreateEvent();
        return event == WSA_INVALID_EVENT ? nullptr : event;
    }

    void close_event(socket_event event) override { ::WSACloseEvent(event); }

    [[nodiscard]] std::uint32_t event_select(tpl::native_handle handle, socket_event event, std::uint32_t mask) override
    {
        return result_code(::WSAEventSelect(handle, event, static_cast<long>(mask)));
    }

    [[nodiscard]] std::uint32_t enum_network_events(tpl::native_handle handle, socket_event event,
                                                    network_events& happened) override
    {
        WSANETWORKEVENTS found{};
        if (::WSAEnumNetworkEvents(handle, event, &found) != 0) {
            return static_cast<std::uint32_t>(::WSAGetLastError());
        }
        happened.events = static_cast<std::uint32_t>(found.lNetworkEvents);
        std::transform(std::begin(found.iErrorCode), std::end(found.iErrorCode), happened.error.begin(),
                       [](int code) { return static_cast<std::uint32_t>(code); });
        return 0;
    }

    [[nodiscard]] std::uint32_t wait_for_event(socket_event event, std::uint32_t milliseconds, bool alertable,
                                               std::uint32_t& code) override
    {
        const WSAEVENT events[] = {event};
        const DWORD result = ::WSAWaitForMultipleEvents(1, events, FALSE, milliseconds, alertable ? TRUE : FALSE);
        code = result == WSA_WAIT_FAILED ? static_cast<std::uint32_t>(::WSAGetLastError()) : 0;
        return result;
    }

    [[nodiscard]] std::uint32_t recv(tpl::native_handle handle, char* destination, std::uint32_t size,
                                     tpl::io_context* context) override
    {
        WSABUF buffer{size, destination};
        DWORD count = 0;
        DWORD flags = 0;
        return result_code(::WSARecv(handle, &buffer, 1, &count, &flags, context, nullptr));
    }

    [[nodiscard]] std::uint32_t send(tpl::native_handle handle, const char* source, std::uint32_t size,
                                     std::uint32_t& sent) override
    {
        WSABUF buffer{size, const_cast<char*>(source)}; // the call only reads
        DWORD count = 0;
        const auto code = result_code(::WSASend(handle, &buffer, 1, &count, 0, nullptr, nullptr));
        sent = count;
        return code;
    }

    [[nodiscard]] std::uint32_t send_disconnect(tpl::native_handle handle) override
    {
        return result_code(::WSASendDisconnect(handle, nullptr));
    }

    [[nodiscard]] std::uint32_t recv_disconnect(tpl::native_handle handle) override
    {
        return result_code(::WSARecvDisconnect(handle, nullptr));
    }

    [[nodiscard]] std::uint32_t address_to_string(const socket_address& address, char* text,
                                                  std::uint32_t& size) override
    {
        auto copy = address; // the call requires a writable argument
        DWORD length = size;
        const auto code = result_code(::WSAAddressToStringA(raw(copy), sizeof copy, nullptr, text, &length));
        size = length;
        return code;
    }

    [[nodiscard]] bool attach(tpl::channel& channel, tpl::conduit& conduit) override { return channel.attach(conduit); }
    [[nodiscard]] std::string current_user_name() override { return winapi::conv_to_char(winapi::current_user_name()); }
    [[nodiscard]] std::int64_t clock() override { return std::clock(); }
    void set_last_error(std::uint32_t code) override { ::SetLastError(code); }
    void debug_break() override { ::DebugBreak(); }
};

} // namespace

socket_platform& system_socket_platform()
{
    static winsock platform;
    return platform;
}

} // namespace web
