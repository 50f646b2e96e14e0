#pragma once

#include "tool/asyncio/thread.h"

#include <cstdint>

namespace tpl {

/// What wait_for_thread needs of the platform.
class thread_platform
{
public:
    struct identity
    {
        std::uint64_t id = 0;
        bool fallback = false; ///< found on the way that older systems need
    };
    [[nodiscard]] virtual identity thread_identity(thread_handle handle) const = 0;
    [[nodiscard]] virtual std::uint64_t current_thread_id() const = 0;
    /// Waits up to `timeout` ms for the thread to end.
    virtual void wait(thread_handle handle, std::uint32_t timeout) const = 0;
    virtual void close(thread_handle handle) const = 0;
    virtual ~thread_platform() = default;
};

/// The system's threads. Lives as long as the process.
const thread_platform& system_thread_platform();

/// Waits for a thread to end and closes its handle. A null handle gives true at once. A thread that would wait for
/// itself raises std::runtime_error "error: wait on self-thread is potential deadlock" and keeps the handle.
/// @param timeout milliseconds, or tpl::infinite; whether the thread has ended in time is not told
/// @return true
bool wait_for_thread(thread_handle handle, std::uint32_t timeout,
                     const thread_platform& platform = system_thread_platform());

} // namespace tpl
