#pragma once

#include <condition_variable>
#include <mutex>

namespace test {

/// Lets threads begin at one moment, as std::barrier does, which misses notifications on Windows.
class meeting_point
{
public:
    explicit meeting_point(int threads)
        : expected_(threads)
    {}

    /// Returns when this was called as many times as there are threads.
    void arrive_and_wait()
    {
        std::unique_lock guard(lock_);
        if (--expected_ == 0) {
            all_here_.notify_all();
        }
        all_here_.wait(guard, [this] { return expected_ == 0; });
    }

private:
    std::mutex lock_;
    std::condition_variable all_here_;
    int expected_;
};

} // namespace test
