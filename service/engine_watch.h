#pragma once

#include "service/happenings.h"
#include "service/istag.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace service {

/// Keeps the state of the engine up to date: probes it on a thread of its own, so that an engine that does not answer
/// delays nothing else. Each change of its state is one line of the log, at the level of errors. Thread-safe, except
/// that start() and stop() must be called from one thread.
class engine_watch
{
public:
    using handler = std::function<void()>;

    /// How long a request that needs the state of the engine waits for a probe before it is answered without.
    static constexpr std::chrono::milliseconds patience{2000};

    /// `tag` is refreshed by each probe and must outlive the object. The engine is probed at start and then once each
    /// `interval`; an interval of zero means on request only. `listener` learns of changes; it may be null.
    engine_watch(istag& tag, std::chrono::milliseconds interval, std::shared_ptr<happenings> listener = nullptr);
    engine_watch(const engine_watch&) = delete;
    engine_watch& operator=(const engine_watch&) = delete;
    ~engine_watch();

    void start();
    /// Waits for the end of a probe, and then calls the handlers that wait for another one.
    void stop();
    /// Calls `done` once the state of the engine is known. With an interval that is after the first probe, and then at
    /// once; without one, after a probe that begins after this call. Calls it at once if a probe has been under way for
    /// longer than `patience`, and after stop().
    void refresh(handler done);

private:
    using clock = std::chrono::steady_clock;

    void run();
    void probe();
    /// Waits until a probe is due. Returns false if the watch is to end.
    bool wait_for_probe(std::unique_lock<std::mutex>& guard);
    [[nodiscard]] bool on_request() const noexcept { return interval_.count() == 0; }

    istag& tag_;
    std::chrono::milliseconds interval_;
    std::shared_ptr<happenings> listener_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<handler> waiting_;
    std::optional<clock::time_point> begun_; ///< of the probe that is under way
    clock::time_point due_;                  ///< time of the next probe, if there is an interval
    bool probed_ = false;                    ///< at least one probe has ended; only the thread changes it
    bool stopped_ = false;
    std::thread thread_;
};

} // namespace service
