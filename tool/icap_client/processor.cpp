#include "tool/icap_client/processor.h"

#include "logging/logging.h"
#include "tool/http/chunk_decoder.h"
#include "tool/icap/async_response.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace icap::client {

namespace {

/// Numbers the messages of the process, so that traces can be followed.
std::uint32_t next_message_id() noexcept
{
    static std::atomic<std::uint32_t> last{0};
    return ++last;
}

/// Ends the use of a connection whose peer keeps no limits.
class connection_failure final : public icap::application_request
{
public:
    explicit connection_failure(std::string description)
        : description_(std::move(description))
    {}
    void process(icap::response_notifier* notifier) override { notifier->error(description_); }
    void process(web::antivirus_service2* /*service*/) override {}

private:
    std::string description_;
};

} // namespace

processor::processor(web::session* session, trace_provider& trace)
    : session_(session)
    , trace_(trace)
{
    LOG_LINE(logging::icap_log(), 500, "client::processor creating");
    analyzer_ = std::make_shared<icap::analyzer>();
    queue_ = std::make_unique<input_queue>(
        [](void* self, const icap::buffer& bytes) { static_cast<processor*>(self)->input_step(bytes); }, this);
    LOG_LINE(logging::icap_log(), 500, "client::processor created");
}

processor::~processor() = default;

void processor::reset()
{
    const std::lock_guard guard(lock_);
    current_.reset();
}

void processor::proceed()
{
    throw std::runtime_error("request proceed: not implemented");
}

void processor::set_application(icap::application_process* process)
{
    const std::lock_guard guard(lock_);
    application_ = process;
}

bool processor::input(const char* begin, const char* end)
{
    if (failed_) {
        throw std::runtime_error("the peer has exceeded a limit");
    }
    received_ += static_cast<std::uint64_t>(end - begin);
    queue_->push(std::make_shared<icap::buffer>(begin, end));
    return true;
}

std::unique_ptr<icap::transmitter> processor::make_transmitter(std::uint32_t id)
{
    return std::make_unique<icap::transmitter>(id, session_, busy_count_);
}

icap::application_process& processor::application_for(const char* operation) const
{
    const std::lock_guard guard(lock_);
    if (application_ == nullptr) {
        throw std::runtime_error(std::string{operation} + ": application process not initialized");
    }
    return *application_;
}

void processor::pass_date_to_processing_asynchronously(const std::shared_ptr<icap::application_request>& request)
{
    application_for("pass_date_to_processing_asynchronously").process_asynchronously(request);
}

void processor::pass_date_to_processing_directly(const std::shared_ptr<icap::application_request>& request)
{
    application_for("pass_date_to_processing_directly").process_directly(request);
}

void processor::stop()
{
    queue_->stop();
}

void processor::input_step(const icap::buffer& bytes)
{
    const std::lock_guard guard(lock_);
    if (failed_) {
        return;
    }
    const std::uint64_t place = std::exchange(handled_, handled_ + bytes.size());
    if (!current_ && analyzer_->empty()) {
        answer_at_ = place;
    }
    try {
        analyzer_->enqueue(bytes.begin(), bytes.end());
    } catch (const std::exception&) {
        // More than an analyzer holds: these bytes are lost, and the wait for the answer ends by its time-out.
        count_unparsed(bytes.size());
        return;
    }
    try {
        if (extract_message()) {
            unparsed_ = 0;
        } else {
            count_unparsed(bytes.size());
        }
        pass_on_answer();
    } catch (const http::chunk_line_too_long& problem) {
        fail(problem.what());
    } catch (const std::exception&) {
        analyzer_->drop_cached(); // the next bytes must not be appended to the ones that failed
        count_unparsed(bytes.size());
    }
}

void processor::count_unparsed(std::size_t count)
{
    unparsed_ += count;
    if (unparsed_ > unparsed_limit) {
        fail("too many bytes without an answer");
    }
}

void processor::fail(const std::string& description)
{
    if (failed_.exchange(true)) {
        return;
    }
    analyzer_->drop_cached();
    current_.reset();
    try {
        pass_date_to_processing_asynchronously(std::make_shared<connection_failure>(description));
    } catch (const std::exception&) {
        return; // has_failed() reports it all the same
    }
}

/// Returns true if the bytes that have arrived are part of an answer.
bool processor::extract_message()
{
    if (current_) {
        analyzer_->feed(*current_);
        return true;
    }
    std::shared_ptr<icap::message> message = analyzer_->extract();
    if (!message) {
        return false;
    }
    if (message->type() != icap::type_response) {
        throw std::runtime_error("icap server extract message error: expected a responce message");
    }
    current_ = std::static_pointer_cast<icap::response_message>(message);
    current_->set_id(next_message_id());
    if (trace_.enabled()) {
        trace_.write(trace_provider::message_received, current_->id(), current_->type());
    }
    return true;
}

void processor::pass_on_answer()
{
    if (!current_ || !current_->complete()) {
        return;
    }
    auto hook = [this](const icap::response_message& answer) {
        if (trace_.enabled()) {
            trace_.write(trace_provider::message_processed, answer.id(), answer.type());
        }
    };
    pass_date_to_processing_asynchronously(std::make_shared<icap::async_response>(current_, std::move(hook)));
    reset();
}

} // namespace icap::client
