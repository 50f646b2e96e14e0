#pragma once

#include <cstdint>
#include <functional>
#include <memory>

/// The platform's one-shot timers, as far as one user needs them: one timer at a time, whose callback runs on a thread
/// of the queue. A queue ends when no callback runs any more, so it must not be ended by its own callback.
class TimerQueue
{
public:
    /// Runs `fire` once, `delay` milliseconds from now. To be called when no timer is waiting; the callback of the last
    /// one may make the next. False when the platform can't make it.
    virtual bool CreateTimer(std::uint32_t delay, std::function<void()> fire) = 0;
    /// Takes back a timer that has not fired, and waits for a callback that is running. Called from the callback itself
    /// it doesn't wait.
    virtual void DeleteTimer() = 0;
    virtual ~TimerQueue() = default;
};

/// A timer queue on Windows, a thread of our own elsewhere.
[[nodiscard]] std::unique_ptr<TimerQueue> NewTimerQueue();
