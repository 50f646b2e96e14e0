#include "logging/logging.h"
#include "tool/http/message.h"
#include "tool/icap_client/session_impl.h"
#include "tool/system/conversions.h"

#include <stdexcept>
#include <utility>

// The six scans. Each is the border at which the client fails open: any failure of an exchange is logged here and the
// result is ScanResult::Clean, for a hardened mail scan ScanResult::None. The session's error flag then specifies
// whether the session may be used again.

namespace icap::client {

namespace {

std::string narrow(const std::wstring& text)
{
    return winapi::conv_to_char(text);
}

std::string id_of(const http::message* message)
{
    return winapi::to_hex(message != nullptr ? message->id() : 0);
}

std::uint64_t size_of(const scan_object& parameters)
{
    if (!parameters.data) {
        throw std::invalid_argument("scan without a data object");
    }
    return parameters.data->size();
}

std::int32_t number(ScanResult result)
{
    return static_cast<std::int32_t>(result);
}

} // namespace

session_impl::scan_scope::scan_scope(session_impl& owner)
    : owner_(owner)
{
    owner_.answered_ = false;
    {
        const std::lock_guard guard(owner_.lock_);
        owner_.last_activity_ = owner_.clock_.system_ticks();
    }
    const std::lock_guard guard(owner_.answer_lock_);
    owner_.scanning_ = true;
}

session_impl::scan_scope::~scan_scope()
{
    const std::lock_guard guard(owner_.answer_lock_);
    owner_.scanning_ = false;
    owner_.awaited_ = awaited::nothing;
}

void session_impl::clear_outcome()
{
    error_ = false;
    result_ = ScanResult::None;
}

void session_impl::set_scanned_data(std::shared_ptr<web::io_data> data, bool read_only)
{
    // The old object is destroyed outside the lock.
    const std::lock_guard guard(answer_lock_);
    scanned_data_.swap(data);
    read_only_data_ = read_only;
}

session_impl::answer_ptr session_impl::current_answer() const
{
    const std::lock_guard guard(answer_lock_);
    return answer_;
}

ScanResult session_impl::scan(const scan_mail& parameters, answer_ptr& answer)
{
    const scan_scope scope(*this);
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") mail request '" << parameters.subject << "'");
    clear_outcome();
    set_scanned_data(parameters.data, parameters.hardened);
    try {
        if (!send_mail(parameters)) {
            set_scanned_data(nullptr);
            LOG_LINE(logging::icapclnt_log(), 500,
                     "session(" << this << ") mail request '" << parameters.subject << "' is successfully completed");
            return ScanResult::Clean;
        }
        answer = current_answer();
        const ScanResult result = result_;
        if (parameters.hardened) {
            set_scanned_data(nullptr); // the caller may open the object again, to write the repaired contents into it
        }
        if (result != ScanResult::Blocked) {
            LOG_LINE(logging::icapclnt_log(), 500,
                     "session(" << this << ") mail request '" << parameters.subject << "' has been blocked by scanner");
        }
        return result;
    } catch (const std::exception& problem) {
        set_scanned_data(nullptr);
        LOG_LINE(logging::icapclnt_log(), 200,
                 "session(" << this << ") mail request: '" << parameters.subject << "' failed: " << problem.what());
        return parameters.hardened ? ScanResult::None : ScanResult::Clean;
    }
}

ScanResult session_impl::scan(const scan_health& parameters)
{
    const scan_scope scope(*this);
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") health request '" << parameters.health << "'");
    clear_outcome();
    try {
        if (!send_health(parameters)) {
            set_scanned_data(nullptr);
            LOG_LINE(logging::icapclnt_log(), 500,
                     "session(" << this << ") health request '" << parameters.health << "' is successfully completed");
            return ScanResult::Clean;
        }
        LOG_LINE(logging::icapclnt_log(), 500,
                 "session(" << this << ") health request '" << parameters.health << "' has been blocked by scanner");
        return result_;
    } catch (const std::exception& problem) {
        set_scanned_data(nullptr);
        LOG_LINE(logging::icapclnt_log(), 200,
                 "session(" << this << ") health request: '" << parameters.health << "' failed: " << problem.what());
        return ScanResult::Clean;
    }
}

ScanResult session_impl::scan(const scan_certificate& parameters)
{
    const scan_scope scope(*this);
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") scan certificate'" << narrow(parameters.certificate_name) << "', process='"
                        << parameters.process_name << "', pid=" << parameters.process_id);
    clear_outcome();
    try {
        if (!send_certificate(parameters)) {
            set_scanned_data(nullptr);
            LOG_LINE(logging::icapclnt_log(), 500,
                     "session(" << this << ") scan certificate '" << narrow(parameters.certificate_name)
                                << "' is clean. server returns 'no content'");
            return ScanResult::Clean;
        }
        LOG_LINE(logging::icapclnt_log(), 500,
                 "session(" << this << ") scan certificate '" << narrow(parameters.certificate_name)
                            << "' has been blocked by scanner");
        return result_;
    } catch (const std::exception& problem) {
        set_scanned_data(nullptr);
        LOG_LINE(logging::icapclnt_log(), 200,
                 "session(" << this << ") scan certificate: " << problem.what() << ", certificate '"
                            << narrow(parameters.certificate_name) << "' skipped. scan result is cleaned");
        return ScanResult::Clean;
    }
}

ScanResult session_impl::scan(const scan_http_response& parameters, answer_ptr& answer)
{
    const scan_scope scope(*this);
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") scan http response msgId=0x" << id_of(parameters.response) << ", process='"
                        << parameters.process_name << "', pid=" << parameters.process_id);
    clear_outcome();
    set_scanned_data(nullptr);
    try {
        if (!send_respmod_preview(parameters)) {
            set_scanned_data(nullptr);
            LOG_LINE(logging::icapclnt_log(), 500,
                     "session(" << this << ") scan http response msgId=0x" << id_of(parameters.response)
                                << " is clean. server returns 'no content'");
            return ScanResult::Clean;
        }
        if (result_ == ScanResult::Blocked && !continued_) {
            answer = current_answer();
            return ScanResult::Blocked;
        }
        const ScanResult result = send_respmod_continue(parameters);
        answer = current_answer();
        LOG_LINE(logging::icapclnt_log(), 500,
                 "session(" << this << ") scan http response msgId=0x" << id_of(parameters.response)
                            << " scanned with result " << number(result) << ", mem=0x"
                            << winapi::to_hex(reinterpret_cast<std::uintptr_t>(answer.get())));
        return result;
    } catch (const std::exception& problem) {
        set_scanned_data(nullptr);
        LOG_LINE(logging::icapclnt_log(), 200,
                 "session(" << this << ") scan http response: " << problem.what() << ", object msgId=0x"
                            << id_of(parameters.response) << " skipped. scan result is cleaned");
        return ScanResult::Clean;
    }
}

ScanResult session_impl::scan(const scan_http_request& parameters, answer_ptr& answer)
{
    const scan_scope scope(*this);
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") scan http request msgId=0x" << id_of(parameters.request) << ", process='"
                        << parameters.process_name << "', pid=" << parameters.process_id);
    clear_outcome();
    set_scanned_data(nullptr);
    try {
        if (!send_reqmod_preview(parameters)) {
            set_scanned_data(nullptr);
            LOG_LINE(logging::icapclnt_log(), 500,
                     "session(" << this << ") scan http request msgId=0x" << id_of(parameters.request)
                                << " is clean. server returns 'no content'");
            return ScanResult::Clean;
        }
        if (result_ == ScanResult::Blocked && !continued_) {
            answer = current_answer();
            return ScanResult::Blocked;
        }
        const ScanResult result = send_reqmod_continue(parameters);
        answer = current_answer();
        LOG_LINE(logging::icapclnt_log(), 500,
                 "session(" << this << ") scan http request msgId=0x" << id_of(parameters.request)
                            << " scanned with result " << number(result));
        return result;
    } catch (const std::exception& problem) {
        set_scanned_data(nullptr);
        LOG_LINE(logging::icapclnt_log(), 200,
                 "session(" << this << ") scan http request: " << problem.what() << ", object msgId=0x"
                            << id_of(parameters.request) << " skipped. scan result is cleaned");
        return ScanResult::Clean;
    }
}

ScanResult session_impl::scan(const scan_object& parameters)
{
    const scan_scope scope(*this);
    LOG_LINE(logging::icapclnt_log(), 500, "session(" << this << ") scan object '" << parameters.object_name << "'");
    try {
        if (size_of(parameters) < smallest_object) {
            LOG_LINE(logging::icapclnt_log(), 500,
                     "session(" << this << ") object '" << parameters.object_name
                                << "' skipped. size of object less then 4 bytes");
            return ScanResult::Clean;
        }
        clear_outcome();
        set_scanned_data(parameters.data);
        if (!send_object_preview(parameters)) {
            set_scanned_data(nullptr);
            LOG_LINE(logging::icapclnt_log(), 500,
                     "session(" << this << ") object '" << parameters.object_name
                                << "' is clean. server returns 'no content'");
            return ScanResult::Clean;
        }
        // This also happens after a verdict on the preview alone: the rest is sent and one more answer awaited.
        const ScanResult result = send_object_continue(parameters);
        set_scanned_data(nullptr);
        LOG_LINE(logging::icapclnt_log(), 500,
                 "session(" << this << ")object '" << parameters.object_name << "' scanned with result "
                            << number(result));
        return result;
    } catch (const std::exception& problem) {
        set_scanned_data(nullptr);
        LOG_LINE(logging::icapclnt_log(), 200,
                 "session(" << this << ") scan request failed: " << problem.what() << ", object '"
                            << parameters.object_name << "' skipped. scan result is cleaned");
        return ScanResult::Clean;
    }
}

} // namespace icap::client
