#include "outlook/qdmailprotect/link/timer_queue.h"

#include <platform/com.h>
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

/// Waits for an event. A thread of a single-threaded apartment receives the calls of other threads meanwhile.
void WaitAndServeCalls(HANDLE event)
{
    DWORD index = 0;
    if (FAILED(::CoWaitForMultipleHandles(0, INFINITE, 1, &event, &index))) { // this thread is in no apartment
        ::WaitForSingleObject(event, INFINITE);
    }
}

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
            DeleteAndWait(timer);
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

    /// The callback may be calling an object of this thread's apartment.
    void DeleteAndWait(HANDLE timer)
    {
        const winapi::kernel_handle ended(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        if (!ended) {
            ::DeleteTimerQueueTimer(queue_.get(), timer, INVALID_HANDLE_VALUE);
        } else if (!::DeleteTimerQueueTimer(queue_.get(), timer, ended.get()) && ::GetLastError() == ERROR_IO_PENDING) {
            WaitAndServeCalls(ended.get());
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
