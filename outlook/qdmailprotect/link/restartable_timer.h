#pragma once

#include "outlook/qdmailprotect/link/timer_queue.h"

#include <cstdint>
#include <functional>
#include <memory>

/// Runs a function again and again on a thread of a timer queue: first after FirstDelay, then each time Pause after the
/// end of the last run, however long that took. There are never two runs at once. All operations may be called from any
/// thread, the function's own included.
class RestartableTimer
{
public:
    static constexpr std::uint32_t FirstDelay = 500; ///< milliseconds
    static constexpr std::uint32_t Pause = 1000;     ///< milliseconds

    /// The queue serves this timer alone and outlives it. `run` lets no exception out.
    RestartableTimer(TimerQueue& queue, std::function<void()> run);
    RestartableTimer(const RestartableTimer&) = delete;
    RestartableTimer& operator=(const RestartableTimer&) = delete;
    ~RestartableTimer();

    /// Begins with FirstDelay; nothing happens when it is armed already. While the function runs, FirstDelay counts
    /// from its end. Raises std::runtime_error "Can't create timer queue timer".
    void Arm();
    /// No run begins after this. Waits for one that is under way, unless it is called from that.
    void Disarm();
    [[nodiscard]] bool IsArmed() const;

private:
    struct State;
    [[nodiscard]] bool RunsHere() const;
    static void Fire(const std::shared_ptr<State>& state);
    static void Schedule(const std::shared_ptr<State>& state, std::uint32_t delay);

    std::shared_ptr<State> state_; ///< shared with the callback that is under way
};
