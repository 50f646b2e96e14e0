#pragma once

#include <cstdint>
#include <functional>
#include <memory>

/// The platform's one-shot timers, reduced to one user: one timer at a time, whose callback runs on a thread of the
/// queue. The destructor waits until no callback runs, so a queue must not be destroyed by its own callback.
class TimerQueue
{
public:
    /// Runs `fire` once after `delay` milliseconds. Must only be called when no timer is pending; the callback of the
    /// previous timer may create the next. Returns false if the platform cannot create the timer.
    virtual bool CreateTimer(std::uint32_t delay, std::function<void()> fire) = 0;
    /// Cancels a pending timer and waits for a running callback. Does not wait if called from the callback itself.
    virtual void DeleteTimer() = 0;
    virtual ~TimerQueue() = default;
};

/// Creates the platform's queue: a system timer queue on Windows, a queue with its own thread elsewhere.
[[nodiscard]] std::unique_ptr<TimerQueue> NewTimerQueue();
