#include "outlook/qdmailprotect/link/timer_queue.h"

#include <platform/handles.h>

#include <mutex>
#include <utility>

namespace {

/// Lets the queue's pool grow to 1024 threads (WT_SET_MAX_THREADPOOL_THREADS); all other flags have their defaults.
constexpr ULONG timer_flags = 0x4000000;

/// Handle traits of timer queues. Closing waits for running callbacks.
struct TimerQueueTraits
{
    using type = HANDLE;
    static type invalid() noexcept { return nullptr; }
    static void close(type handle) noexcept
    {
        const winapi::last_error_keeper keeper;
        ::DeleteTimerQueueEx(handle, INVALID_HANDLE_VALUE);
    }
};

class SystemTimerQueue final : public TimerQueue
{
public:
    bool CreateTimer(std::uint32_t delay, std::function<void()> fire) override
    {
        const std::lock_guard guard(lock_);
        if (!queue_) {
            return false; // a null queue would denote the process's default queue
        }
        Forget(); // the former timer has fired, and its callback may be the caller
        fire_ = std::move(fire);
        return ::CreateTimerQueueTimer(&timer_, queue_.get(), Run, this, delay, 0, timer_flags) != FALSE;
    }

    void DeleteTimer() override
    {
        HANDLE timer = nullptr;
        {
            const std::lock_guard guard(lock_);
            if (runner_ == ::GetCurrentThreadId()) {
                return;
            }
            timer = std::exchange(timer_, nullptr);
        }
        if (timer) {
            ::DeleteTimerQueueTimer(queue_.get(), timer, INVALID_HANDLE_VALUE);
        }
    }

private:
    static VOID CALLBACK Run(PVOID context, BOOLEAN) { static_cast<SystemTimerQueue*>(context)->Run(); }

    void Run()
    {
        std::function<void()> fire;
        {
            const std::lock_guard guard(lock_);
            runner_ = ::GetCurrentThreadId();
            fire = fire_;
        }
        fire();
        const std::lock_guard guard(lock_);
        if (runner_ == ::GetCurrentThreadId()) { // otherwise the next callback has begun
            runner_ = 0;
        }
    }

    void Forget()
    {
        if (timer_) {
            ::DeleteTimerQueueTimer(queue_.get(), std::exchange(timer_, nullptr), nullptr);
        }
    }

    std::mutex lock_;
    std::function<void()> fire_; ///< guarded by lock_
    HANDLE timer_ = nullptr;     ///< pending or fired last; guarded by lock_
    DWORD runner_ = 0;           ///< the thread of the running callback; guarded by lock_
    winapi::unique_handle<TimerQueueTraits> queue_{::CreateTimerQueue()}; // destroyed first, with its callbacks
};

} // namespace

std::unique_ptr<TimerQueue> NewTimerQueue()
{
    return std::make_unique<SystemTimerQueue>();
}
