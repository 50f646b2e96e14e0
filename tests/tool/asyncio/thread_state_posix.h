#pragma once

#include <sys/types.h>

namespace test {

/// Returns whether a thread of this process is asleep or has ended, as the kernel reports it.
[[nodiscard]] bool is_asleep(pid_t thread);

/// Returns whether every thread of this process but the caller's is asleep or has ended.
[[nodiscard]] bool others_sleep();

/// Returns how often a thread of this process has gone to sleep. Throws std::runtime_error if the kernel does not
/// report it.
[[nodiscard]] unsigned long times_asleep(pid_t thread);

} // namespace test
