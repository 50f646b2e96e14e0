#pragma once

#include "tool/asyncio/completion_port.h"
#include "tool/asyncio/conduit.h"
#include "tool/asyncio/thread.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tpl {

/// A completion port with its own worker threads, which run the completion handlers of the attached conduits.
///
/// At most `concurrency` handlers run at a time; while a handler is blocked, one more worker may run. The workers start
/// in the constructor and end in stop(). After stop(), attached conduits receive no more completions, so their owner
/// must close them before. Operations that are still under way when the channel is destroyed are freed without being
/// delivered.
class channel
{
public:
    /// @param thread_count number of workers
    /// @param concurrency handlers that may run at a time; 0 for one per processor
    /// Throws error::win32exception if the port cannot be made, std::system_error if a thread cannot be started.
    channel(std::size_t thread_count, std::uint32_t concurrency);
    channel(const channel&) = delete;
    channel& operator=(const channel&) = delete;
    /// Calls stop(). Destroying a channel on one of its own workers ends the process with the text of stop().
    ~channel();

    /// Binds the conduit's handle to the port for the lifetime of the handle. Returns false if the platform refuses.
    [[nodiscard]] bool attach(conduit& target);

    /// Lets the workers finish the completions that are queued, and waits for the end of the workers without limit. A
    /// second call does nothing. Throws std::runtime_error "error: wait on self-thread is potential deadlock" on one of
    /// the workers.
    void stop();
    /// Returns true after stop() has ended all workers: no handler runs or will run. Thread-safe.
    [[nodiscard]] bool is_stopped() const noexcept { return stopped_.load(); }

    [[nodiscard]] completion_port& port_handle() noexcept { return port_; }

private:
    static void work(void* self);
    void run();

    completion_port port_;
    std::vector<thread_handle> threads_;
    std::atomic<bool> stopped_{false};
};

} // namespace tpl
