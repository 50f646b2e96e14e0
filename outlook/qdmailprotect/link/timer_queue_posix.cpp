#include "outlook/qdmailprotect/link/timer_queue.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

/// A thread that is started with the first timer and waits for each due time in turn.
class ThreadTimerQueue final : public TimerQueue
{
public:
    ThreadTimerQueue() = default;
    ThreadTimerQueue(const ThreadTimerQueue&) = delete;
    ThreadTimerQueue& operator=(const ThreadTimerQueue&) = delete;
    ~ThreadTimerQueue() override
    {
        {
            const std::lock_guard guard(lock_);
            ending_ = true;
        }
        changed_.notify_all();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    bool CreateTimer(std::uint32_t delay, std::function<void()> fire) override
    {
        const std::lock_guard guard(lock_);
        if (!thread_.joinable()) {
            try {
                thread_ = std::thread([this] { Serve(); });
            } catch (const std::system_error&) {
                return false;
            }
        }
        due_ = Clock::now() + std::chrono::milliseconds(delay);
        fire_ = std::move(fire);
        changed_.notify_all();
        return true;
    }

    void DeleteTimer() override
    {
        std::unique_lock guard(lock_);
        due_.reset();
        fire_ = nullptr; // the thread, if it still waits for the due time, then finds nothing to do
        if (std::this_thread::get_id() != thread_.get_id()) {
            changed_.wait(guard, [this] { return !running_; });
        }
    }

private:
    void Serve()
    {
        std::unique_lock guard(lock_);
        while (!ending_) {
            if (!due_) {
                changed_.wait(guard);
            } else if (Clock::now() < *due_) {
                changed_.wait_until(guard, Clock::time_point(*due_));
            } else {
                RunDue(guard);
            }
        }
    }

    void RunDue(std::unique_lock<std::mutex>& guard)
    {
        due_.reset();
        const auto fire = std::exchange(fire_, nullptr);
        running_ = true;
        guard.unlock();
        fire();
        guard.lock();
        running_ = false;
        changed_.notify_all();
    }

    std::mutex lock_; ///< guards the members below
    std::condition_variable changed_;
    std::optional<Clock::time_point> due_; ///< set while a timer is pending
    std::function<void()> fire_;
    bool running_ = false;
    bool ending_ = false;
    std::thread thread_;
};

} // namespace

std::unique_ptr<TimerQueue> NewTimerQueue()
{
    return std::make_unique<ThreadTimerQueue>();
}
