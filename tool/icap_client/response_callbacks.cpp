#include "logging/logging.h"
#include "tool/asyncio/buffer.h"
#include "tool/icap_client/session_impl.h"

#include <algorithm>
#include <stdexcept>

// The effect of each kind of answer on the session. All of this runs on a pool thread, one answer at a time.

namespace icap::client {

namespace {

constexpr std::size_t repair_block = 4096;

http::message& encapsulated_message(icap::response_message& answer)
{
    return answer.has_response() ? answer.response() : answer.request();
}

} // namespace

void session_impl::record_istag(const std::string& istag)
{
    istag_ = istag;
    if (heard_istag_) {
        heard_istag_->set(istag);
    }
}

/// Decides whether an answer belongs to the request that is out; `provisional` for one that asks for the rest of it.
/// An answer that nothing waits for would answer the next request, and every later one the request behind its own, so
/// it makes the session useless.
bool session_impl::accept_answer(bool provisional)
{
    const std::lock_guard guard(answer_lock_);
    const awaited expected = awaited_;
    awaited_ = awaited::nothing;
    if (expected == awaited::nothing || !processor_.answers_last_request()) {
        broken_ = true;
        if (expected != awaited::nothing) {
            error_ = true;
            reply_event_.set();
        }
        return false;
    }
    if (provisional && expected == awaited::preview) {
        awaited_ = awaited::verdict;
        continued_ = true;
    } else if (provisional) {
        broken_ = true; // ends the wait without a verdict, which is still to come
    }
    return true;
}

void session_impl::track_istag(const std::string& istag)
{
    icap::client::istag_notifier* notifier = nullptr;
    {
        const std::lock_guard guard(answer_lock_);
        const bool known = istag_ == istag;
        record_istag(istag); // another session may have heard another one since
        if (known) {
            return;
        }
        notifier = istag_notifier_;
    }
    if (notifier != nullptr) {
        LOG_LINE(logging::icapclnt_log(), 500, "istag changed: reset driver cache");
        notifier->istag_changed();
    }
}

void session_impl::options(const std::string& istag, std::uint32_t preview, const std::vector<std::string>& methods)
{
    const bool accepted = accept_answer();
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") request options has been completed: istag=" << istag
                        << ", preview bytes=" << preview);
    if (!accepted) {
        return;
    }
    {
        const std::lock_guard guard(answer_lock_);
        record_istag(istag);
        preview_size_ = preview;
        methods_ = methods;
    }
    reply_event_.set();
}

void session_impl::continue_(const std::string& istag)
{
    const bool accepted = accept_answer(true);
    track_istag(istag);
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") request preview has been completed: response 'continue' with istag=" << istag);
    if (accepted) {
        reply_event_.set();
    }
}

void session_impl::no_content(const std::string& istag)
{
    const bool accepted = accept_answer();
    track_istag(istag);
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") request has been completed: response 'no content' with istag=" << istag);
    if (!accepted) {
        return;
    }
    result_ = ScanResult::Clean;
    answered_ = true;
    reply_event_.set();
}

void session_impl::blocked(const std::string& istag, const std::string& threat, const answer_ptr& answer)
{
    const bool accepted = accept_answer();
    track_istag(istag);
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") request has been completed: response 'blocked' threat='" << threat
                        << "' with istag=" << istag);
    if (!accepted) {
        return;
    }
    {
        const std::lock_guard guard(answer_lock_);
        answer_ = answer;
        result_ = ScanResult::Blocked;
        threat_ = threat;
    }
    answered_ = true;
    reply_event_.set();
}

void session_impl::repaired(const std::string& istag, const answer_ptr& answer)
{
    const bool accepted = accept_answer();
    track_istag(istag);
    LOG_LINE(logging::icapclnt_log(), 500,
             "session(" << this << ") request has been completed: response 'repaired' with istag=" << istag);
    if (!accepted) {
        return;
    }
    try {
        const std::lock_guard guard(answer_lock_);
        answer_ = answer;
        // A scan without a data object cannot take a repair, nor can one that has returned its object to the caller.
        if (scanned_data_ && scanning_) {
            if (!read_only_data_) {
                fire_repaired(*answer);
            }
            result_ = ScanResult::Repaired;
        }
    } catch (const std::exception& problem) {
        LOG_LINE(logging::icapclnt_log(), 200,
                 "session(" << this << ") request respmod(repair failed): " << problem.what());
    }
    answered_ = true;
    reply_event_.set();
}

/// Overwrites the scanned object in place with the body of the answer.
void session_impl::fire_repaired(icap::response_message& answer)
{
    web::io_data& body = encapsulated_message(answer).body();
    const std::uint64_t size = body.size();
    tpl::buffer block(repair_block);
    for (std::uint64_t offset = 0; offset < size;) {
        const std::uint64_t count = std::min<std::uint64_t>(block.size(), size - offset);
        if (body.read(offset, block.begin(), count) < count) {
            LOG_LINE(logging::icapclnt_log(), 200,
                     "session(" << this << ") fire_repaired: could not read data from repaired IO");
            throw std::runtime_error("read from repaired IO failed");
        }
        if (scanned_data_->write(offset, block.begin(), count) < count) {
            LOG_LINE(logging::icapclnt_log(), 200,
                     "session(" << this << ") fire_repaired: could not write to scanned IO");
            throw std::runtime_error("write to scanned IO failed");
        }
        offset += count;
    }
    scanned_data_->size(size);
}

void session_impl::error(const std::string& description)
{
    const bool accepted = accept_answer();
    LOG_LINE(logging::icapclnt_log(), 200,
             "session(" << this << ")request has been completed with error '" << description << "'");
    if (accepted) {
        error_ = true;
        reply_event_.set();
    }
}

} // namespace icap::client
