#include "tool/icap_client/session_impl.h"

#include "logging/logging.h"
#include "tool/asyncio/thread.h"
#include "tool/icap_client/request_templates.h"
#include "tool/system/conversions.h"

#include <ios>
#include <stdexcept>
#include <utility>

namespace icap::client {

session_impl::session_impl(const session_target& target, tpl::channel& channel, const session_timing& timing,
                           const winapi::time_source& clock, trace_provider& trace)
    : last_activity_(clock.system_ticks())
    , target_(winapi::conv_to_char(target.uri))
    , socket_(web::system_socket_platform().open_socket(), &channel, this, this, false)
    , processor_(this, trace)
    , channel_(channel)
    , timing_(timing)
    , clock_(clock)
{
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") creating");
    LOG_LINE(logging::icapclnt_log(), 500, "try to connected '" << target_ << "'");
    try {
        connect(target);
    } catch (const std::exception& problem) {
        LOG_LINE(logging::icapclnt_log(), 200, "session(" << this << ") failed: " << problem.what());
        socket_.close();
        detach();
        throw;
    }
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") created");
}

session_impl::~session_impl()
{
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") destroying");
    close();
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") destroyed");
    detach();
}

void session_impl::connect(const session_target& target)
{
    socket_.connect(target.address);
    processor_.set_application(this);
    LOG_LINE(logging::icapclnt_log(), 500, "connected to '" << target_ << "'");
    local_address_ = socket_.local_address();
    socket_.read();
    reading_ = true;
    send_options();
}

/// Ensures that no other thread is in this object or returns to it. The caller has closed the socket before.
void session_impl::detach() noexcept
{
    while (reading_ && !socket_.is_closed() && !channel_.is_stopped()) {
        tpl::sleep_ex(1, true);
    }
    processor_.stop();
}

bool session_impl::is_invalid()
{
    const std::lock_guard guard(lock_);
    const bool failed = error_ || broken_ || processor_.has_failed();
    const bool invalid = failed || (socket_.is_closed() && !processor_.is_busy());
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") invalid?:" << std::boolalpha << invalid << ", error?:" << failed
                        << ", idle=" << idle_milliseconds());
    return invalid;
}

std::uint32_t session_impl::idle()
{
    const std::lock_guard guard(lock_);
    return idle_milliseconds();
}

std::uint32_t session_impl::idle_milliseconds() const
{
    constexpr std::uint64_t ticks_per_millisecond = 10000;
    return static_cast<std::uint32_t>((clock_.system_ticks() - last_activity_) / ticks_per_millisecond);
}

void session_impl::close()
{
    socket_.shutdown(web::socket::receive | web::socket::send);
    if (socket_.has_valid_handle()) {
        tpl::cancel_io(socket_.handle());
        tpl::sleep_ex(0, true);
        handle_was_valid_ = true;
    }
    if (handle_was_valid_.exchange(false)) {
        LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") io canceled");
    }
    socket_.close();
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") closed");
}

bool session_impl::let_go()
{
    const std::lock_guard guard(lock_);
    const bool failed = error_ || broken_ || processor_.has_failed();
    if (let_go_ || (!failed && (!socket_.is_closed() || processor_.is_busy()))) {
        return false;
    }
    if (socket_.has_valid_handle()) {
        socket_.let_go();
        handle_was_valid_ = true;
    }
    if (!socket_.is_closed()) {
        return false; // the outstanding read has been cancelled but has not completed
    }
    processor_.begin_stop();
    return true;
}

void session_impl::end_waiting()
{
    const std::lock_guard guard(let_go_lock_);
    if (!let_go_) {
        processor_.stop();
        let_go_ = true;
    }
}

bool session_impl::is_closed()
{
    const std::lock_guard guard(lock_);
    return socket_.is_closed();
}

void session_impl::send(const char*, const char*)
{
    throw std::runtime_error("session_impl::send(): not implemented");
}

std::string session_impl::peer_name()
{
    throw std::runtime_error("session_impl::peer_name(): not implemented");
}

void session_impl::process_directly(const std::shared_ptr<icap::application_request>& request)
{
    request->process(static_cast<icap::response_notifier*>(this));
}

void session_impl::process_asynchronously(const std::shared_ptr<icap::application_request>& request)
{
    process_directly(request);
}

bool session_impl::on_input(unsigned, const char* begin, const char* end)
{
    return processor_.input(begin, end);
}

void session_impl::on_network_problem(unsigned, std::uint32_t code)
{
    LOG_LINE(logging::icapclnt_log(), 200, "session(" << this << ") network problem occured: " << code);
}

void session_impl::set_istag_notifier(icap::client::istag_notifier* notifier)
{
    const std::lock_guard guard(answer_lock_);
    istag_notifier_ = notifier;
}

void session_impl::set_heard_istag(std::shared_ptr<icap::client::heard_istag> record)
{
    const std::lock_guard guard(answer_lock_);
    heard_istag_ = std::move(record);
    if (heard_istag_) {
        heard_istag_->set(istag_);
    }
}

std::string session_impl::istag() const
{
    const std::lock_guard guard(answer_lock_);
    return istag_;
}

std::string session_impl::threat() const
{
    const std::lock_guard guard(answer_lock_);
    return threat_;
}

std::vector<std::string> session_impl::methods() const
{
    const std::lock_guard guard(answer_lock_);
    return methods_;
}

} // namespace icap::client
