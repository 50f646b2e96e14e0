#pragma once

#include "tool/asyncio/event.h"
#include "tool/icap/response_message.h"
#include "tool/icap_client/heard_istag.h"
#include "tool/icap_client/istag_notifier.h"
#include "tool/icap_client/preview.h"
#include "tool/icap_client/processor.h"
#include "tool/icap_client/session.h"
#include "tool/icap_client/session_roles.h"
#include "tool/icap_client/session_timing.h"
#include "tool/icap_client/trace_provider.h"
#include "tool/system/clock.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace icap {
class request_message;
} // namespace icap

namespace icap::client {

/// The service that a session connects to.
struct session_target
{
    std::wstring uri; ///< ICAP URI, "icap://address:port/path"
    web::socket_address address;
};

/// One ICAP conversation over one TCP connection. A constructed session is connected and has done its OPTIONS exchange;
/// it then runs one scan at a time, until one fails or the peer closes the connection. Always owned by a shared
/// pointer.
///
/// Each request has one answer, and an answer belongs to the request that is out when its first byte arrives, even if
/// that request has not been written completely. Any other answer is logged like all and has no further effect, but
/// makes the session invalid for good, as does a "continue" that no preview waits for.
///
/// Three kinds of thread use it: the caller of a scan, which blocks on `reply_event_`; a channel worker, which only
/// queues bytes; a pool thread, which parses them and runs the response callbacks.
class session_impl final : public session,
                           public web::session2,
                           public icap::application_process,
                           public icap::response_notifier,
                           public web::async_input<session_impl, 2>,
                           public web::socket_state<session_impl, 2>
{
public:
    /// Connects and does the OPTIONS exchange; throws if either fails. The clock and the trace provider must outlive
    /// the session.
    session_impl(const session_target& target, tpl::channel& channel, const session_timing& timing = {},
                 const winapi::time_source& clock = winapi::system_time_source(),
                 trace_provider& trace = system_trace_provider());
    session_impl(const session_impl&) = delete;
    session_impl& operator=(const session_impl&) = delete;
    ~session_impl() override;

    ScanResult scan(const scan_mail& parameters, answer_ptr& answer) override;
    ScanResult scan(const scan_health& parameters) override;
    ScanResult scan(const scan_certificate& parameters) override;
    ScanResult scan(const scan_http_response& parameters, answer_ptr& answer) override;
    ScanResult scan(const scan_http_request& parameters, answer_ptr& answer) override;
    ScanResult scan(const scan_object& parameters) override;
    [[nodiscard]] bool is_invalid() override;
    [[nodiscard]] std::uint32_t idle() override;
    void close() override;
    [[nodiscard]] bool is_closed() override;
    /// Gives the connection of an invalid session back to the system, and lets the wait for received bytes end. Returns
    /// true if end_waiting() is to follow; otherwise the session is valid, or a read is outstanding and a later call
    /// does the rest. Logs nothing: the lines of close() are still to come. Must not be called during a scan.
    [[nodiscard]] bool let_go();
    /// Waits for the end of the wait for received bytes. Several threads may let go of the same session.
    void end_waiting();
    /// Returns true while let_go() has something to do once the session is invalid. Any thread.
    [[nodiscard]] bool holds_connection() const noexcept { return !let_go_; }

    /// Always throws std::runtime_error "session_impl::send(): not implemented".
    void send(const char* begin, const char* end) override;
    /// Always throws std::runtime_error "session_impl::peer_name(): not implemented".
    [[nodiscard]] std::string peer_name() override;
    /// Always throws std::runtime_error "reqmod to check certificate is Not implemeted": a certificate request has no
    /// continue step.
    [[noreturn]] ScanResult send_certificate_continue(const scan_certificate& parameters);

    void process_directly(const std::shared_ptr<icap::application_request>& request) override;
    void process_asynchronously(const std::shared_ptr<icap::application_request>& request) override;

    void options(const std::string& istag, std::uint32_t preview, const std::vector<std::string>& methods) override;
    void continue_(const std::string& istag) override;
    void no_content(const std::string& istag) override;
    void blocked(const std::string& istag, const std::string& threat, const answer_ptr& answer) override;
    void repaired(const std::string& istag, const answer_ptr& answer) override;
    using web::socket_state<session_impl, 2>::error;
    void error(const std::string& description) override;

    /// Takes bytes from the socket, on a channel worker.
    bool on_input(unsigned tag, const char* begin, const char* end);
    /// Logs a socket error, on any thread; has no other effect.
    void on_network_problem(unsigned tag, std::uint32_t code);

    /// Called by the pool before any other use of the session; not owned, may be null.
    void set_istag_notifier(icap::client::istag_notifier* notifier);
    /// Shares the record of the last ISTag with other sessions; the one that this session knows is recorded at once.
    void set_heard_istag(std::shared_ptr<heard_istag> record);
    /// Returns the ISTag of the last answer that had one.
    [[nodiscard]] std::string istag() const;
    /// Returns the threat of the last blocked answer.
    [[nodiscard]] std::string threat() const;
    /// Returns the methods that the service listed in its answer to OPTIONS.
    [[nodiscard]] std::vector<std::string> methods() const;
    /// Returns true if the service has given a verdict on the current or last scan. Any thread may ask.
    [[nodiscard]] bool answered() const noexcept { return answered_; }
    /// Returns the size of the preview that the service asks for, in bytes.
    [[nodiscard]] std::uint32_t preview_size() const noexcept { return preview_size_; }

private:
    /// One scan, from its first step until its result is returned.
    class scan_scope
    {
    public:
        explicit scan_scope(session_impl& owner);
        scan_scope(const scan_scope&) = delete;
        scan_scope& operator=(const scan_scope&) = delete;
        ~scan_scope();

    private:
        session_impl& owner_;
    };

    /// The outcome of a wait.
    enum class reply
    {
        answered,
        timeout, ///< error_ is then set
        error    ///< the service's answer is not a verdict
    };

    /// What the session expects from the service.
    enum class awaited
    {
        nothing, ///< no request is out; any answer belongs to none
        preview, ///< the answer to a preview: a verdict, or a request for the rest
        verdict  ///< any other answer; "continue" is none
    };

    void connect(const session_target& target);
    void detach() noexcept;
    void clear_outcome();
    /// A repair is written into `data`, unless `read_only` is true: its contents are then left in the answer.
    void set_scanned_data(std::shared_ptr<web::io_data> data, bool read_only = false);
    [[nodiscard]] answer_ptr current_answer() const;
    [[nodiscard]] std::uint32_t idle_milliseconds() const;

    // The send engine: one attempt, on the caller's thread.
    void begin_request(awaited what);
    void begin_rest();
    void send_request_and_wait(std::string_view request, std::uint32_t timeout, awaited what = awaited::verdict);
    void send_message_and_wait(icap::request_message& message, std::uint32_t timeout);
    [[nodiscard]] reply wait_for_reply(std::uint32_t timeout);
    static void require_reply(reply got, const char* timeout_text);
    void write(std::string_view bytes);
    void send_options();
    bool send_mail(const scan_mail& parameters);
    bool send_health(const scan_health& parameters);
    bool send_certificate(const scan_certificate& parameters);
    [[nodiscard]] preview read_preview(http::message& message);
    bool send_reqmod_preview(const scan_http_request& parameters);
    bool send_respmod_preview(const scan_http_response& parameters);
    bool send_object_preview(const scan_object& parameters);
    ScanResult send_reqmod_continue(const scan_http_request& parameters);
    ScanResult send_respmod_continue(const scan_http_response& parameters);
    ScanResult send_object_continue(const scan_object& parameters);
    void send_http_chunks(http::message& message, std::string_view method);
    ScanResult send_http_continue(http::message& message, std::string_view method, std::uint32_t timeout);

    // The response callbacks.
    [[nodiscard]] bool accept_answer(bool provisional = false);
    void track_istag(const std::string& istag);
    /// Must be called under answer_lock_.
    void record_istag(const std::string& istag);
    void fire_repaired(icap::response_message& answer);

    mutable std::mutex lock_;               ///< last_activity_, and the tests of is_invalid and is_closed
    std::uint64_t last_activity_;           ///< system ticks of 100 ns; under lock_
    std::string local_address_ = "0.0.0.0"; ///< our end of the connection, without port
    std::string target_;                    ///< the ICAP URI
    web::socket socket_;
    icap::client::processor processor_;
    tpl::event reply_event_;           ///< signalled by every answer that ends a wait
    std::string istag_;                ///< under answer_lock_
    std::vector<std::string> methods_; ///< under answer_lock_
    std::atomic<std::uint32_t> preview_size_{0};
    std::atomic<ScanResult> result_{ScanResult::Clean};
    std::atomic<bool> answered_{false};                      ///< a verdict came since the start of the last scan
    std::shared_ptr<web::io_data> scanned_data_;             ///< takes a repaired body; under answer_lock_
    bool read_only_data_ = false;                            ///< scanned_data_ is not written; under answer_lock_
    icap::client::istag_notifier* istag_notifier_ = nullptr; ///< under answer_lock_
    std::shared_ptr<heard_istag> heard_istag_;               ///< null outside of a pool; under answer_lock_
    std::atomic<bool> error_{false};
    awaited awaited_ = awaited::nothing; ///< under answer_lock_
    std::atomic<bool> continued_{false}; ///< the service has asked for the rest of the request that is out
    std::atomic<bool> broken_{false};    ///< answers and requests no longer match; remains set
    answer_ptr answer_;                  ///< the last answer with a verdict; under answer_lock_
    std::string threat_;                 ///< under answer_lock_

    /// Separates a late answer's callback from the caller that no longer waits for it, so that the callback never
    /// writes into an object that has been returned to the caller. This is not lock_, which is held for microseconds
    /// only.
    mutable std::mutex answer_lock_;
    bool scanning_ = false; ///< a scan runs and may take a repair; under answer_lock_
    std::mutex let_go_lock_;
    std::atomic<bool> let_go_{false};           ///< nothing of the system is held any more
    std::atomic<bool> handle_was_valid_{false}; ///< let_go() has taken the handle that close() expects
    bool reading_ = false; ///< a read was started, so the socket must only be closed after its completion
    tpl::channel& channel_;
    session_timing timing_;
    const winapi::time_source& clock_;
};

} // namespace icap::client
