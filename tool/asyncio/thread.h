#pragma once

#include <platform/native_handle.h>

#include <cstdint>

/// Threads by handle, waits, and the two calls that end overlapped operations. Times are milliseconds.
namespace tpl {

/// A wait without time-out.
inline constexpr std::uint32_t infinite = 0xFFFFFFFF;

/// Starts a thread with the default stack. The caller owns the handle and passes it to wait_for_thread. Throws
/// std::system_error.
[[nodiscard]] thread_handle start_thread(void (*function)(void*), void* argument);

/// SleepEx: sleeps; with `alertable`, queued completion routines of this thread may run and end the sleep (Windows).
void sleep_ex(std::uint32_t milliseconds, bool alertable);

/// CancelIo: cancels the operations under way on the handle; they complete on the channel with error 995.
/// Windows cancels only those that this thread started. An invalid handle does nothing.
void cancel_io(native_handle handle);

} // namespace tpl
