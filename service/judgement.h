#pragma once

#include "service/connection_services.h"
#include "service/engine/stop.h"
#include "service/reply_maker.h"
#include "service/request_reader.h"
#include "service/settings_in_force.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace service {

/// The judging of one request's object, on a scanner thread.
class judgement final
{
public:
    using request = std::unique_ptr<request_reader>;
    /// Receives the reply and the request that was judged, to which the reply may refer. The reply is null after a
    /// failure.
    using handler = std::function<void(reply_maker::reply reply, request judged)>;

    /// `owner` identifies the connection in the log. `done` is called on the scanner thread and destroyed with the
    /// judging.
    judgement(request object, const connection_services& services, settings_pointer settings, const void* owner,
              handler done);

    /// Returns the name of the object, for the log.
    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    /// Judges the object and calls the handler. Must be called once at most.
    void run();
    /// Returns the result for the metrics, once the handler has been called.
    [[nodiscard]] request_result result() const noexcept { return result_; }
    /// Requests the engine to stop, because nobody waits for the verdict. Thread-safe.
    void abandon() { stop_.request_stop(); }

private:
    using clock = std::chrono::steady_clock;

    reply_maker::reply make_reply(request_reader& object);
    [[nodiscard]] verdict judge(request_reader& object);
    /// Returns the reply after a failure of the service itself, which may be null.
    reply_maker::reply reply_to_failure();

    request object_;
    const connection_services& services_;
    settings_pointer settings_;
    const void* owner_;
    handler done_;
    std::string name_;
    stop_source stop_;
    clock::time_point begun_ = clock::now();
    request_result result_ = request_result::error;
};

/// Writes the line of a verdict to the log; a clean one has none.
void log_verdict(const void* owner, const std::string& name, const verdict& outcome);
/// Writes the line of an object that is withheld for another reason than a threat.
void log_withheld(const void* owner, const std::string& name, cause why);

/// Returns the result of a verdict for the metrics.
[[nodiscard]] request_result result_of(const verdict& outcome);

} // namespace service
