#include "tool/system/errors.h"
#include "tool/system/win32_codes.h"
#include "tool/wproxy/raise.h"
#include "tool/wproxy/socket.h"
#include "tool/wproxy/socket_log.h"

#include <cstdint>
#include <exception>
#include <ios>

namespace web {

namespace code = winapi::code;

void socket::read(std::unique_ptr<read_context> context, tpl::event* event)
{
    if (context == nullptr) {
        context = std::make_unique<read_context>();
    }
    context->event = event;
    auto* const started = context.get();
    SOCKET_LINE(500, ") read ctx=" << started);
    std::uint32_t error = code::success;
    {
        const std::lock_guard guard(handle_lock_);
        const auto size = static_cast<std::uint32_t>(started->data.size());
        // After a successful start the channel owns the context, which may be completed before the call returns.
        static_cast<void>(context.release());
        error = platform_.recv(handle_.load(), started->data.begin(), size, started);
        if (error != code::success && error != code::io_pending) {
            context.reset(started);
        }
    }
    if (context != nullptr) {
        SOCKET_LINE(500, ") read error: " << error << ", ctx=" << started);
        report(error);
        context.reset();
        raise_socket_error(error);
    }
}

bool socket::complete(std::unique_ptr<tpl::io_context> context) noexcept
{
    const std::lock_guard guard(completion_lock_);
    tpl::event* event = nullptr;
    try {
        switch (context->opcode) {
        case read_context::read:
            event = static_cast<read_context&>(*context).event;
            complete_read(std::unique_ptr<read_context>(static_cast<read_context*>(context.release())));
            break;
        case read_context::write:
            break;
        default:
            LOG_LINE(logging::wpx_log(), 500, "invalid socket opcode");
            platform_.debug_break();
        }
    } catch (const error::win32exception& failure) {
        detach(failure.code(), failure.what(), true);
    } catch (const std::exception& failure) {
        detach(code::connection_aborted, failure.what(), false);
    }
    if (event != nullptr) {
        event->set();
    }
    return true;
}

void socket::complete_read(std::unique_ptr<read_context> context)
{
    if (context->error != code::success) {
        failed_read(std::move(context));
    } else if (context->transferred == 0) {
        closed_by_peer(std::move(context));
    } else {
        SOCKET_LINE(500, ") read complete ctx=" << context.get() << ", size=" << context->transferred);
        deliver(*context);
        context->reset();
        auto* const event = context->event;
        read(std::move(context), event);
    }
}

void socket::failed_read(std::unique_ptr<read_context> context)
{
    const auto address = reinterpret_cast<std::uintptr_t>(context.get()); // for the log; the context may be destroyed
    const auto error = context->error;
    SOCKET_LINE(500, ") error occured ctx=" << context.get() << ", error=" << error);
    context.reset();
    report(error);
    SOCKET_LINE(500, ") with ctx=0x" << std::hex << address << " detached from channel by error 0x" << error);
    attached_ = false;
    ++closed_;
}

void socket::closed_by_peer(std::unique_ptr<read_context> context)
{
    SOCKET_LINE(500, ") ovelapped read has been finished: socket closed");
    shutdown(send | receive);
    SOCKET_LINE(500, ") shutdown sent=recv|send");
    SOCKET_LINE(500, ") close socket ctx=" << context.get());
    SOCKET_LINE(500, ") with ctx=" << context.get() << " detached from channel");
    attached_ = false;
    ++closed_;
    context.reset();
    report(code::socket_shut_down);
}

void socket::deliver(const read_context& context)
{
    const char* const begin = context.data.begin();
    const char* const end = begin + context.transferred;
    if (filter_ == nullptr) {
        input_->input(begin, end);
        return;
    }
    filter_->feed(begin, end);
    std::string_view block;
    while (filter_->produce(block)) {
        input_->input(block.data(), block.data() + block.size());
    }
}

void socket::detach(std::uint32_t error, const char* text, bool with_code) noexcept
{
    try {
        report(error);
    } catch (const std::exception&) {
        // No exception may reach the channel's thread; the line below logs the first failure.
    }
    if (with_code) {
        LOG_LINE(logging::wpx_log(), 200,
                 "for socket(" << this << ") error occured: " << text << ", detached from channel. error = 0x"
                               << std::hex << error);
    } else {
        LOG_LINE(logging::wpx_log(), 200,
                 "for socket(" << this << ") error occured: " << text << ", detached from channel");
    }
    attached_ = false;
}

void socket::report(std::uint32_t error)
{
    if (state_ != nullptr) {
        state_->error(error);
    }
}

} // namespace web
