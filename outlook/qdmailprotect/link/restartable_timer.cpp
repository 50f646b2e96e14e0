#include "outlook/qdmailprotect/link/restartable_timer.h"

#include "logging/logging.h"

#include <exception>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

struct RestartableTimer::State
{
    State(TimerQueue& queueToUse, std::function<void()> function)
        : queue(queueToUse)
        , run(std::move(function))
    {}

    TimerQueue& queue;
    const std::function<void()> run;
    /// Serializes Arm and Disarm. Calls from the function do not take it, because its holder may be waiting for the
    /// function to return.
    std::mutex control;
    std::mutex lock; ///< guards the members below; not held while `run` runs
    bool armed = false;
    std::thread::id runner;          ///< the thread of the current run
    std::uint32_t next = FirstDelay; ///< delay from the end of the current run to the next
};

RestartableTimer::RestartableTimer(TimerQueue& queue, std::function<void()> run)
    : state_(std::make_shared<State>(queue, std::move(run)))
{}

RestartableTimer::~RestartableTimer()
{
    Disarm();
}

void RestartableTimer::Arm()
{
    if (RunsHere()) {
        const std::lock_guard guard(state_->lock);
        state_->armed = true; // the current run creates the timer at its end
        state_->next = FirstDelay;
        return;
    }
    const std::lock_guard one_at_a_time(state_->control);
    const std::lock_guard guard(state_->lock);
    if (state_->armed) {
        return;
    }
    if (state_->runner == std::thread::id()) {
        Schedule(state_, FirstDelay);
    }
    state_->next = FirstDelay;
    state_->armed = true;
}

void RestartableTimer::Disarm()
{
    if (RunsHere()) {
        const std::lock_guard guard(state_->lock);
        state_->armed = false; // no timer exists while its callback runs, and the callback creates none now
        return;
    }
    const std::lock_guard one_at_a_time(state_->control);
    {
        const std::lock_guard guard(state_->lock);
        state_->armed = false;
    }
    state_->queue.DeleteTimer(); // waits for the callback, which needs the lock
}

bool RestartableTimer::RunsHere() const
{
    const std::lock_guard guard(state_->lock);
    return state_->runner == std::this_thread::get_id();
}

bool RestartableTimer::IsArmed() const
{
    const std::lock_guard guard(state_->lock);
    return state_->armed;
}

void RestartableTimer::Schedule(const std::shared_ptr<State>& state, std::uint32_t delay)
{
    if (!state->queue.CreateTimer(delay, [state] { Fire(state); })) {
        throw std::runtime_error("Can't create timer queue timer");
    }
}

void RestartableTimer::Fire(const std::shared_ptr<State>& state)
{
    std::unique_lock guard(state->lock);
    if (!state->armed) {
        return;
    }
    state->runner = std::this_thread::get_id();
    state->next = Pause;
    guard.unlock();
    state->run();
    guard.lock();
    state->runner = {};
    if (state->armed) {
        try {
            Schedule(state, state->next);
        } catch (const std::exception& failure) { // no caller can handle it
            state->armed = false;
            LOG_LINE(logging::outlook_log(), 200, failure.what());
        }
    }
}
