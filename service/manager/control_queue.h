#pragma once

#include <condition_variable>
#include <mutex>

namespace manager {

/// What the manager asks a running service for. Thread-safe.
class control_queue
{
public:
    enum class wish
    {
        reload,
        stop
    };

    /// A wish that was not yet taken is not kept twice.
    void put(wish one)
    {
        const std::lock_guard guard(lock_);
        (one == wish::stop ? stop_ : reload_) = true;
        changed_.notify_all();
    }
    /// Waits for a wish. The one for the end precedes others and remains.
    [[nodiscard]] wish take()
    {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return stop_ || reload_; });
        if (stop_) {
            return wish::stop;
        }
        reload_ = false;
        return wish::reload;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool reload_ = false;
    bool stop_ = false;
};

} // namespace manager
