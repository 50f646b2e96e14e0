#pragma once

#include <cstddef>

namespace test {

/// What is allocated on all heaps of this process, in bytes. Windows only.
std::size_t heap_bytes();
/// The memory that this process has to itself, found page range by page range, in bytes. What a heap keeps for later
/// counts too. Windows only; the counters of the system aren't kept everywhere.
std::size_t private_bytes();

} // namespace test
