#include "tool/asyncio/endpoint_posix.h"
#include "tool/asyncio/wait_for_thread.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <thread>

namespace tpl {

class thread_object
{
public:
    thread_object(void (*function)(void*), void* argument)
        : thread_([function, argument, end = end_] {
            function(argument);
            const std::lock_guard guard(end->lock);
            end->reached = true;
            end->changed.notify_all();
        })
    {}

    [[nodiscard]] std::uint64_t id() { return static_cast<std::uint64_t>(thread_.native_handle()); }

    void wait(std::uint32_t timeout)
    {
        std::unique_lock guard(end_->lock);
        const auto reached = [this] { return end_->reached; };
        if (timeout == infinite) {
            end_->changed.wait(guard, reached);
        } else {
            end_->changed.wait_for(guard, std::chrono::milliseconds(timeout), reached);
        }
    }

    /// Releases the thread: one that has ended is joined, one that runs is detached.
    void close()
    {
        bool reached = false;
        {
            const std::lock_guard guard(end_->lock);
            reached = end_->reached;
        }
        if (reached) {
            thread_.join();
        } else {
            thread_.detach();
        }
    }

private:
    /// Shared with the thread, which may outlive the handle.
    struct end_of_thread
    {
        std::mutex lock;
        std::condition_variable changed;
        bool reached = false;
    };

    std::shared_ptr<end_of_thread> end_ = std::make_shared<end_of_thread>();
    std::thread thread_;
};

namespace {

class posix_threads final : public thread_platform
{
public:
    [[nodiscard]] identity thread_identity(thread_handle handle) const override { return {handle->id(), false}; }
    [[nodiscard]] std::uint64_t current_thread_id() const override
    {
        return static_cast<std::uint64_t>(::pthread_self());
    }
    void wait(thread_handle handle, std::uint32_t timeout) const override { handle->wait(timeout); }
    void close(thread_handle handle) const override
    {
        const std::unique_ptr<thread_object> owned(handle);
        owned->close();
    }
};

} // namespace

const thread_platform& system_thread_platform()
{
    static const posix_threads threads;
    return threads;
}

thread_handle start_thread(void (*function)(void*), void* argument)
{
    return std::make_unique<thread_object>(function, argument).release();
}

void sleep_ex(std::uint32_t milliseconds, bool /*alertable*/)
{
    // There are no queued completion routines here, so nothing ends the sleep early.
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

void cancel_io(native_handle handle)
{
    if (handle != invalid_handle) {
        handle->cancel_read();
    }
}

} // namespace tpl
