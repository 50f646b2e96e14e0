#pragma once

#include "tool/asyncio/channel.h"
#include "tool/wproxy/socket_address.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace web {

/// Network events, with Winsock's numbers.
namespace network_event {
inline constexpr std::uint32_t write = 2;
inline constexpr std::uint32_t connect = 16;
inline constexpr std::uint32_t close = 32;

/// Indices of the error codes in network_events::error.
inline constexpr std::size_t write_bit = 1;
inline constexpr std::size_t connect_bit = 4;
inline constexpr std::size_t close_bit = 5;
} // namespace network_event

/// The events of a socket since the last query (WSANETWORKEVENTS).
struct network_events
{
    std::uint32_t events = 0;
    std::array<std::uint32_t, 10> error{};
};

/// The results of wait_for_event, with the platform's numbers.
namespace wait_code {
inline constexpr std::uint32_t signalled = 0;
inline constexpr std::uint32_t io_completion = 192;
inline constexpr std::uint32_t timeout = 258;
inline constexpr std::uint32_t failed = 0xFFFFFFFF;
} // namespace wait_code

/// The event that network events of one socket signal. Opaque: a WSAEVENT, or the POSIX platform's object.
using socket_event = void*;

/// The platform operations that a socket needs, one for each Winsock call. Operations that can fail return 0 or the
/// Winsock code. Thread-safe; one handle is used by its socket only.
class socket_platform
{
public:
    virtual ~socket_platform() = default;

    /// socket(AF_INET, SOCK_STREAM, 0), ready for overlapped operations, with TCP_NODELAY. Returns tpl::invalid_handle
    /// on failure; the code is then the thread's last error.
    [[nodiscard]] virtual tpl::native_handle open_socket() = 0;
    /// connect. Returns 10035 while the connection is under way on a socket that event_select has made non-blocking.
    [[nodiscard]] virtual std::uint32_t connect(tpl::native_handle handle, const socket_address& address) = 0;
    [[nodiscard]] virtual std::uint32_t getsockname(tpl::native_handle handle, socket_address& address) = 0;
    /// closesocket. A read under way completes on its channel with error 995.
    virtual void closesocket(tpl::native_handle handle) = 0;

    /// WSACreateEvent; null on failure.
    [[nodiscard]] virtual socket_event create_event() = 0;
    /// WSACloseEvent.
    virtual void close_event(socket_event event) = 0;
    /// WSAEventSelect: makes the socket non-blocking, and makes the events of `mask` signal `event`.
    [[nodiscard]] virtual std::uint32_t event_select(tpl::native_handle handle, socket_event event,
                                                     std::uint32_t mask) = 0;
    /// WSAEnumNetworkEvents: takes the events that have occurred, and resets `event`.
    [[nodiscard]] virtual std::uint32_t enum_network_events(tpl::native_handle handle, socket_event event,
                                                            network_events& happened) = 0;
    /// WSAWaitForMultipleEvents on one event.
    /// @param code the Winsock code if the result is wait_code::failed
    /// @return a wait_code
    [[nodiscard]] virtual std::uint32_t wait_for_event(socket_event event, std::uint32_t milliseconds, bool alertable,
                                                       std::uint32_t& code) = 0;

    /// WSARecv, overlapped: reads up to `size` bytes to `destination`, which stays in use until the completion. 0 and
    /// 997 mean that `context` now belongs to the channel and will be completed; any other code leaves it with the
    /// caller.
    [[nodiscard]] virtual std::uint32_t recv(tpl::native_handle handle, char* destination, std::uint32_t size,
                                             tpl::io_context* context) = 0;
    /// WSASend without an overlapped structure. `sent` receives the count.
    [[nodiscard]] virtual std::uint32_t send(tpl::native_handle handle, const char* source, std::uint32_t size,
                                             std::uint32_t& sent) = 0;
    /// WSASendDisconnect.
    [[nodiscard]] virtual std::uint32_t send_disconnect(tpl::native_handle handle) = 0;
    /// WSARecvDisconnect: later reads fail with 10058.
    [[nodiscard]] virtual std::uint32_t recv_disconnect(tpl::native_handle handle) = 0;

    /// WSAAddressToStringA. `size` is the size of `text` and receives the needed size, both with the closing zero.
    [[nodiscard]] virtual std::uint32_t address_to_string(const socket_address& address, char* text,
                                                          std::uint32_t& size) = 0;

    /// Binds a conduit's handle to the channel's port.
    [[nodiscard]] virtual bool attach(tpl::channel& channel, tpl::conduit& conduit) = 0;
    /// Returns the name of the user that the calling thread acts as (GetUserNameW).
    [[nodiscard]] virtual std::string current_user_name() = 0;
    /// clock() as Windows defines it: milliseconds of wall time.
    [[nodiscard]] virtual std::int64_t clock() = 0;
    virtual void set_last_error(std::uint32_t code) = 0;
    /// DebugBreak.
    virtual void debug_break() = 0;
};

/// Returns the system's sockets. The object exists as long as the process.
socket_platform& system_socket_platform();

} // namespace web
