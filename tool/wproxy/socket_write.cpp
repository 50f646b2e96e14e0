#include "tool/system/win32_codes.h"
#include "tool/wproxy/raise.h"
#include "tool/wproxy/socket.h"
#include "tool/wproxy/socket_log.h"

#include <algorithm>
#include <cstddef>

namespace web {

namespace code = winapi::code;

namespace {

constexpr std::uint32_t write_wait = 60000;         // ms
constexpr std::ptrdiff_t filter_block = 16384;      // bytes
constexpr std::ptrdiff_t largest_send = 0x7FFFFFFF; // limit of one buffer descriptor

/// The peer or this side has ended the connection; the read side will report it.
bool is_quiet(std::uint32_t error)
{
    return error == code::connection_aborted || error == code::connection_reset || error == code::socket_shut_down;
}

} // namespace

std::uint32_t socket::write(const char* begin, const char* end, std::uint32_t& error)
{
    error = code::success;
    if (filter_ == nullptr) {
        return write_block(begin, end, error);
    }
    std::uint32_t sent = 0;
    while (begin != end && error == code::success) {
        const auto* block_end = begin + std::min(end - begin, filter_block);
        const auto block = filter_->transform(begin, block_end);
        sent = write_block(block.data(), block.data() + block.size(), error);
        begin = block_end;
    }
    return sent;
}

std::uint32_t socket::write_block(const char* begin, const char* end, std::uint32_t& error)
{
    const auto handle = handle_.load();
    if (handle == tpl::invalid_handle) {
        SOCKET_LINE(200, ") write error: invalid socket: error=0x" << code::invalid_handle);
        platform_.set_last_error(code::invalid_handle);
        error = code::invalid_handle;
        return 0;
    }
    std::uint32_t sent = 0;
    do {
        // Repeated before each send, because the wait and the enumeration use the same event.
        error = platform_.event_select(handle, event_, network_event::close | network_event::write);
        if (error != code::success) {
            raise_socket_error(error);
        }
        sent = 0;
        error = platform_.send(handle, begin, static_cast<std::uint32_t>(std::min(end - begin, largest_send)), sent);
        if (error == code::success) {
            begin += sent;
        } else if (error == code::would_block) {
            SOCKET_LINE(300, ") write is blocked (WSAEWOULDBLOCK)");
            wait_for_write(handle);
            error = code::success;
        } else if (is_quiet(error)) {
            return sent;
        } else {
            SOCKET_LINE(200, ") write error: " << error);
            report(error);
            raise_socket_error(error);
        }
    } while (begin != end);
    return sent;
}

void socket::wait_for_write(tpl::native_handle handle)
{
    std::uint32_t error = code::success;
    if (platform_.wait_for_event(event_, write_wait, true, error) == wait_code::failed) {
        LOG_LINE(logging::wpx_log(), 200, "could not write: wait for socket evet failed with error " << error);
        raise_socket_error(error);
    }
    network_events happened;
    if (error = platform_.enum_network_events(handle, event_, happened); error != code::success) {
        LOG_LINE(logging::wpx_log(), 200, "could not write: enum socket evet failed with error " << error);
        raise_socket_error(error);
    }
    const auto refusal = happened.error[network_event::write_bit];
    if ((happened.events & network_event::write) != 0 && refusal != code::success) {
        LOG_LINE(logging::wpx_log(), 200, "could not write: socket connect with error " << refusal);
        raise_socket_error(refusal);
    }
}

} // namespace web
