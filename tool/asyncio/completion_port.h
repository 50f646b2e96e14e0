#pragma once

#include "tool/asyncio/conduit.h"

#include <cstdint>
#include <memory>

namespace tpl {

/// One completion as a port gives it out.
struct completion
{
    bool succeeded = true;         ///< false: `error` tells why the operation failed
    std::uint32_t error = 0;       ///< the platform's code
    std::uint32_t transferred = 0; ///< bytes moved
    conduit* key = nullptr;
    io_context* context = nullptr; ///< null together with `key`: the signal to stop
};

/// A queue of completions that worker threads take from: the system's completion port, or its equal on epoll.
class completion_port
{
public:
    /// Raises error::win32exception if the system refuses. `concurrency` 0 stands for one a processor.
    explicit completion_port(std::uint32_t concurrency);
    completion_port(const completion_port&) = delete;
    completion_port& operator=(const completion_port&) = delete;
    /// Frees the contexts of completions that nobody took. No thread may be in wait().
    ~completion_port();

    /// Binds a handle to this port; its completions carry `key`. A handle can be bound once.
    [[nodiscard]] bool attach(native_handle handle, conduit* key);

    /// Queues a completion with count 0, no key and no context.
    void post_stop();

    /// The next completion; waits without limit. Returning to it tells that the last handler has ended.
    [[nodiscard]] completion wait();

    class impl;

private:
    std::shared_ptr<impl> impl_;
};

} // namespace tpl
