#include "tool/wproxy/socket.h"

#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"
#include "tool/wproxy/raise.h"
#include "tool/wproxy/socket_log.h"

#include <cstring>
#include <ios>
#include <sstream>

namespace web {

namespace code = winapi::code;

namespace {
constexpr std::uint32_t connect_wait = 120000; // ms
} // namespace

socket::socket(tpl::native_handle handle, tpl::channel* channel, tpl::iasync* input, state* receiver, bool connected,
               socket_platform& platform)
    : platform_(platform)
    , handle_(handle)
    , input_(input)
    , state_(receiver)
    , event_(platform.create_event())
    , connected_(connected)
{
    try {
        if (!has_valid_handle()) {
            SOCKET_LINE(200, ") constructor: invalid handle");
            raise_socket_error(code::invalid_handle);
        }
        const auto error = platform_.event_select(handle, event_,
                                                  network_event::close | network_event::connect | network_event::write);
        if (error != code::success) {
            SOCKET_LINE(200, ") constructor: WSAEventSelect(FD_CLOSE | FD_CONNECT | FD_WRITE) failed");
            raise_socket_error(error);
        }
        if (channel != nullptr) {
            attach(channel);
        }
    } catch (...) {
        drop_handle();
        close_event();
        throw;
    }
}

socket::~socket()
{
    close();
    SOCKET_LINE(500, ") destroied. assigned on channel = " << std::boolalpha << is_attached());
    // The handler clears `attached` before its last steps, so the owner may already be here.
    {
        const std::lock_guard handler_ended(completion_lock_);
    }
    close_event();
}

void socket::close_event() noexcept
{
    if (event_ != nullptr) {
        platform_.close_event(event_);
        event_ = nullptr;
    }
}

void socket::drop_handle() noexcept
{
    const std::lock_guard guard(handle_lock_);
    if (const auto old = handle_.exchange(tpl::invalid_handle); old != tpl::invalid_handle) {
        platform_.closesocket(old);
    }
}

bool socket::attach(tpl::channel* channel)
{
    channel_ = channel;
    if (channel_ != nullptr) {
        attached_ = platform_.attach(*channel_, *this);
        SOCKET_LINE(500, ") assigned to async channel = " << std::boolalpha << is_attached());
    }
    return is_attached();
}

void socket::connect(const socket_address& address)
{
    if (is_connected()) {
        SOCKET_LINE(300, ") already connected: thread impersonated by '" << platform_.current_user_name() << "'");
        return;
    }
    SOCKET_LINE(500, ") connect: thread impersonated by '" << platform_.current_user_name() << "'");
    const auto handle = handle_.load();
    const auto started = platform_.clock();
    if (const auto error = platform_.connect(handle, address); error == code::would_block) {
        SOCKET_LINE(300, ") could not connect: socket is blocked (WSAEWOULDBLOCK)");
        wait_for_connection(handle, started);
    } else if (error != code::success) {
        SOCKET_LINE(200, ") could not connect with error " << error);
        raise_socket_error(error);
    }
    const auto error = platform_.event_select(handle, event_, network_event::close | network_event::write);
    if (error != code::success) {
        SOCKET_LINE(200, ") could not connect: WSAEventSelect(FD_CLOSE | FD_WRITE) failed");
        raise_socket_error(error);
    }
    connected_ = true;
}

void socket::wait_for_connection(tpl::native_handle handle, std::int64_t started)
{
    std::uint32_t error = code::success;
    if (platform_.wait_for_event(event_, connect_wait, true, error) == wait_code::failed) {
        SOCKET_LINE(200, ") could not connect: wait for socket evet failed with error " << error);
        raise_socket_error(error);
    }
    network_events happened;
    if (error = platform_.enum_network_events(handle, event_, happened); error != code::success) {
        SOCKET_LINE(200, ") could not connect: enum socket evet failed with error " << error);
        raise_socket_error(error);
    }
    if ((happened.events & network_event::connect) == 0) {
        SOCKET_LINE(200, ") could not connect: FD_CONNECT event was not occured");
        raise_socket_error(code::system_call_failure);
    }
    if (const auto refusal = happened.error[network_event::connect_bit]; refusal != code::success) {
        raise_connect_error(handle, refusal, started);
    }
}

void socket::raise_connect_error(tpl::native_handle handle, std::uint32_t error, std::int64_t started)
{
    const auto elapsed = (platform_.clock() - started) / 1000;
    SOCKET_LINE(200, ") could not connect: socket connect with error " << error);
    std::ostringstream text;
    text << "timeout=" << elapsed;
    socket_address local;
    if (platform_.getsockname(handle, local) == code::success) {
        text << ", addr=0x" << std::hex << host_number(local) << ", port=" << std::dec << port_number(local);
    }
    raise_socket_error(error, text.str());
}

void socket::shutdown(std::uint32_t how)
{
    if (!has_valid_handle()) {
        return;
    }
    // Also runs on a channel worker when the peer has closed: the owner must not close the handle during the call.
    const auto call = [this](std::uint32_t (socket_platform::*operation)(tpl::native_handle)) {
        const std::lock_guard guard(handle_lock_);
        return (platform_.*operation)(handle_.load());
    };
    if ((how & send) != 0 && send_shut_ == 0) {
        if (const auto error = call(&socket_platform::send_disconnect); error == code::success) {
            SOCKET_LINE(400, ") shutdown(send)");
        } else {
            SOCKET_LINE(200, ") shutdown(send) error: " << error);
        }
        ++send_shut_;
    }
    if ((how & receive) != 0 && recv_shut_ == 0) {
        if (const auto error = call(&socket_platform::recv_disconnect); error == code::success) {
            SOCKET_LINE(200, ") shutdown(recv)");
        } else {
            SOCKET_LINE(200, ") shutdown(recv) error: " << error);
        }
        ++recv_shut_;
    }
}

void socket::close()
{
    drop_handle();
    ++closed_;
    SOCKET_LINE(500, ") closed. assigned to channel = " << std::boolalpha << is_attached());
}

void socket::let_go() noexcept
{
    ++closed_;
    drop_handle();
    close_event();
}

bool socket::is_closed()
{
    if (has_valid_handle() && closed_ == 0) {
        network_events happened;
        if (const auto error = platform_.enum_network_events(handle_, event_, happened); error != code::success) {
            raise_socket_error(error); // also for a handle that is no longer a socket
        }
        if ((happened.events & network_event::close) != 0) {
            ++closed_;
        }
    }
    return closed_ != 0 && !is_attached();
}

std::string socket::local_address()
{
    std::string none = "0.0.0.0";
    socket_address local;
    if (platform_.getsockname(handle_, local) != code::success) {
        return none;
    }
    local.port = 0;
    std::string text(32, '\0');
    auto size = static_cast<std::uint32_t>(text.size());
    auto error = platform_.address_to_string(local, text.data(), size);
    if (error == code::socket_fault) {
        text.resize(size);
        error = platform_.address_to_string(local, text.data(), size);
    }
    if (error != code::success) {
        LOG_LINE(logging::wpx_log(), 200, "could not convert host address to string");
        return none;
    }
    text.resize(std::strlen(text.c_str()));
    return text;
}

} // namespace web
