#pragma once

#include <chrono>
#include <mutex>

namespace service {

/// Decides which of many equal events is logged: the first one, and the first one after a time without any.
/// Thread-safe.
class episode
{
public:
    using clock = std::chrono::steady_clock;

    explicit episode(clock::duration quiet = std::chrono::minutes(1))
        : quiet_(quiet)
    {}

    /// Counts an event. Returns true if it is the first of its episode.
    bool begins(clock::time_point now = clock::now())
    {
        const std::lock_guard guard(lock_);
        const bool first = !begun_ || now - last_ >= quiet_;
        begun_ = true;
        last_ = now;
        return first;
    }
    /// Ends the episode. Returns true if there was one.
    bool end()
    {
        const std::lock_guard guard(lock_);
        const bool was = begun_;
        begun_ = false;
        return was;
    }

private:
    clock::duration quiet_;
    std::mutex lock_;
    clock::time_point last_;
    bool begun_ = false;
};

} // namespace service
