#pragma once

#include "tool/asyncio/conduit.h"

#include <cstdint>
#include <memory>

namespace tpl {

/// One completion, as a port returns it.
struct completion
{
    bool succeeded = true;         ///< false: `error` specifies the failure
    std::uint32_t error = 0;       ///< the platform's code
    std::uint32_t transferred = 0; ///< bytes moved
    conduit* key = nullptr;
    io_context* context = nullptr; ///< null together with `key`: the signal to stop
};

/// A queue of completions from which worker threads take: the system's completion port, or an equivalent on epoll.
class completion_port
{
public:
    /// Throws error::win32exception if the system refuses. A `concurrency` of 0 means one per processor.
    explicit completion_port(std::uint32_t concurrency);
    completion_port(const completion_port&) = delete;
    completion_port& operator=(const completion_port&) = delete;
    /// Frees the contexts of completions that were not taken. No thread may be in wait().
    ~completion_port();

    /// Binds a handle to this port; its completions contain `key`. A handle can be bound once. Returns false on
    /// failure.
    [[nodiscard]] bool attach(native_handle handle, conduit* key);

    /// Queues a completion with count 0, no key and no context.
    void post_stop();

    /// Returns the next completion; waits without limit. A call also reports that the thread's last handler has ended.
    [[nodiscard]] completion wait();

    class impl;

private:
    std::shared_ptr<impl> impl_;
};

} // namespace tpl
