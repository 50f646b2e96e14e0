#pragma once

#include "tool/icap/analyzer.h"
#include "tool/icap/response_message.h"
#include "tool/icap_client/input_queue.h"
#include "tool/icap_client/processing.h"
#include "tool/icap_client/trace_provider.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace icap::client {

/// Connects socket and session: takes received bytes from the channel without delay, and assembles answers from them on
/// a thread of the system's pool, where the session's callbacks then run, one at a time.
///
/// An answer that cannot be parsed ends nothing: the unparsed bytes are discarded, and the caller that waits for the
/// answer runs into the time-out. Only a peer that sends more than `unparsed_limit` bytes that are part of no answer,
/// or a line of chunked framing beyond the limit of http::chunk_decoder, ends the connection: the application receives
/// one error, and no byte is taken any more.
class processor final : public icap::processing
{
public:
    /// The number of bytes that may arrive without an answer: garbage, requests, heads that never end.
    static constexpr std::size_t unparsed_limit = std::size_t{1} << 20;

    /// Neither argument is owned; both must outlive the processor.
    explicit processor(web::session* session, trace_provider& trace = system_trace_provider());
    processor(const processor&) = delete;
    processor& operator=(const processor&) = delete;
    ~processor() override;

    void reset() override;
    /// Always throws std::runtime_error "request proceed: not implemented".
    void proceed() override;

    /// Sets the receiver of the answers, which is not owned.
    void set_application(icap::application_process* process);
    /// Notes that a request is about to be sent: bytes that were received before cannot answer it. Any thread.
    void begin_request() noexcept { begun_at_ = received_.load(); }
    /// Returns true if the answer that is being passed on arrived, with its first byte, after the last
    /// begin_request(). For use by the application while it processes the answer.
    [[nodiscard]] bool answers_last_request() const noexcept { return answer_at_ >= begun_at_; }
    /// Copies the range and returns at once, unless so many bytes wait that the queue is full. Throws
    /// error::win32exception if an allocation fails, and std::runtime_error after the connection has failed.
    bool input(const char* begin, const char* end);
    /// Returns true while a transmitter exists.
    [[nodiscard]] bool is_busy() const noexcept { return busy_count_ != 0; }
    [[nodiscard]] std::unique_ptr<icap::transmitter> make_transmitter(std::uint32_t id);
    /// Throw std::runtime_error if no application is set, and what the application throws.
    void pass_date_to_processing_asynchronously(const std::shared_ptr<icap::application_request>& request);
    void pass_date_to_processing_directly(const std::shared_ptr<icap::application_request>& request);
    /// Announces stop(), which must follow, and returns at once.
    void begin_stop() noexcept { queue_->begin_stop(); }
    /// Waits until a running callback has returned. Bytes are then still taken but no longer handled. A callback must
    /// not call this function.
    void stop();
    /// Returns true after the peer has exceeded a limit. Any thread.
    [[nodiscard]] bool has_failed() const noexcept { return failed_; }

private:
    void input_step(const icap::buffer& bytes);
    [[nodiscard]] bool extract_message();
    void count_unparsed(std::size_t count);
    void fail(const std::string& description);
    void pass_on_answer();
    [[nodiscard]] icap::application_process& application_for(const char* operation) const;

    std::atomic<std::uint64_t> received_{0}; ///< bytes taken by input()
    std::atomic<std::uint64_t> begun_at_{0}; ///< received_ at the last begin_request()
    std::atomic<bool> failed_{false};
    std::size_t unparsed_ = 0;                        ///< bytes since the last part of an answer; under lock_
    std::uint64_t handled_ = 0;                       ///< bytes of the input steps so far; under lock_
    std::uint64_t answer_at_ = 0;                     ///< place of the answer being assembled; under lock_
    std::atomic<std::uint32_t> busy_count_{0};        ///< number of transmitters that exist
    mutable std::recursive_mutex lock_;               ///< held for one input step, callbacks included
    std::shared_ptr<icap::response_message> current_; ///< being assembled; under lock_
    std::shared_ptr<icap::analyzer> analyzer_;
    web::session* session_;
    icap::application_process* application_ = nullptr; ///< under lock_
    trace_provider& trace_;
    std::unique_ptr<input_queue> queue_;
};

} // namespace icap::client
