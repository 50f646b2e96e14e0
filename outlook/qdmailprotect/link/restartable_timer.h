#pragma once

#include "outlook/qdmailprotect/link/timer_queue.h"

#include <cstdint>
#include <functional>
#include <memory>

/// Runs a function repeatedly on a thread of a timer queue: the first time after FirstDelay, then each time Pause after
/// the end of the previous run, however long that took. Runs never overlap. All operations are thread-safe and may be
/// called from the function itself.
class RestartableTimer
{
public:
    static constexpr std::uint32_t FirstDelay = 500; ///< milliseconds
    static constexpr std::uint32_t Pause = 1000;     ///< milliseconds

    /// `queue` serves this timer only and must outlive it. `run` must not throw.
    RestartableTimer(TimerQueue& queue, std::function<void()> run);
    RestartableTimer(const RestartableTimer&) = delete;
    RestartableTimer& operator=(const RestartableTimer&) = delete;
    ~RestartableTimer();

    /// Starts the timer with FirstDelay. Does nothing if it is already armed. While the function runs, FirstDelay
    /// counts from its end. Throws std::runtime_error "Can't create timer queue timer".
    void Arm();
    /// Prevents further runs. Waits for the current run to end, unless called from that run.
    void Disarm();
    [[nodiscard]] bool IsArmed() const;

private:
    struct State;
    [[nodiscard]] bool RunsHere() const;
    static void Fire(const std::shared_ptr<State>& state);
    static void Schedule(const std::shared_ptr<State>& state, std::uint32_t delay);

    std::shared_ptr<State> state_; ///< shared with the running callback
};
