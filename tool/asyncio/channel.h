#pragma once

#include "tool/asyncio/completion_port.h"
#include "tool/asyncio/conduit.h"
#include "tool/asyncio/thread.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tpl {

/// A completion port with worker threads of its own, which run the completion handlers of the attached conduits.
///
/// `concurrency` handlers run at a time; a handler that blocks lets one more worker through. The workers start in the
/// constructor and end in stop(). After stop() attached conduits get no more completions, so their owner closes them
/// before. Operations still under way when the channel is destroyed are freed with it, undelivered.
class channel
{
public:
    /// @param thread_count number of workers
    /// @param concurrency handlers that may run at a time; 0 for one a processor
    /// Raises error::win32exception if the port cannot be made, std::system_error if a thread cannot be started.
    channel(std::size_t thread_count, std::uint32_t concurrency);
    channel(const channel&) = delete;
    channel& operator=(const channel&) = delete;
    /// Runs stop(). Destroying a channel on one of its own workers ends the process with the text of stop().
    ~channel();

    /// Binds the conduit's handle to the port for the rest of the handle's life. False if the platform refuses.
    [[nodiscard]] bool attach(conduit& target);

    /// Lets the workers finish the completions that are queued, and waits for their ends without limit. A second call
    /// does nothing. On one of the workers raises std::runtime_error "error: wait on self-thread is potential
    /// deadlock".
    void stop();
    /// True once stop() has ended all workers: no handler runs or will run. Any thread may ask.
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
