#pragma once

#include <cstdint>

namespace service {

/// Keeps objects of up to `memory_body` bytes in memory, and memory of their size for the next ones. Called once,
/// before the service starts.
void keep_in_memory(std::uint64_t memory_body);

} // namespace service
