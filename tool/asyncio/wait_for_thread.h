#pragma once

#include "tool/asyncio/thread.h"

#include <cstdint>

namespace tpl {

/// The platform operations that wait_for_thread needs.
class thread_platform
{
public:
    struct identity
    {
        std::uint64_t id = 0;
        bool fallback = false; ///< found by the method that older systems need
    };
    [[nodiscard]] virtual identity thread_identity(thread_handle handle) const = 0;
    [[nodiscard]] virtual std::uint64_t current_thread_id() const = 0;
    /// Waits up to `timeout` ms for the thread to end.
    virtual void wait(thread_handle handle, std::uint32_t timeout) const = 0;
    virtual void close(thread_handle handle) const = 0;
    virtual ~thread_platform() = default;
};

/// Returns the system's threads. The object exists as long as the process.
const thread_platform& system_thread_platform();

/// Waits for a thread to end and closes its handle. Returns true at once for a null handle. Throws std::runtime_error
/// "error: wait on self-thread is potential deadlock" for the calling thread itself; the handle then remains open.
/// @param timeout milliseconds, or tpl::infinite; the result does not report whether the thread has ended in time
/// @return true
bool wait_for_thread(thread_handle handle, std::uint32_t timeout,
                     const thread_platform& platform = system_thread_platform());

} // namespace tpl
