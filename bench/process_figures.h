#pragma once

#include <chrono>
#include <cstddef>

namespace bench {

/// What the system counts of another process of the same user. Linux only.

/// Returns the memory in bytes of a process and its children; a page that several of them share counts once.
[[nodiscard]] double memory_of(int process);
/// Returns the most memory in bytes that a process had at a time, without its children.
[[nodiscard]] double peak_memory_of(int process);
/// Returns the time that all threads of a process, also those that have ended, used of a processor.
[[nodiscard]] std::chrono::nanoseconds processor_time_of(int process);
[[nodiscard]] std::size_t descriptors_of(int process);
[[nodiscard]] std::size_t threads_of(int process);

} // namespace bench
