#pragma once

#include <cstddef>

namespace test {

/// Returns the bytes allocated on all heaps of this process. Windows only.
std::size_t heap_bytes();
/// Returns the bytes of private memory of this process, summed over its page ranges. Memory that a heap keeps for later
/// counts too. Windows only; not every system maintains its own counters for this.
std::size_t private_bytes();

} // namespace test
