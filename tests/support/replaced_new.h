#pragma once

#include <cstddef>

namespace test {

/// Called by the operators new of replaced_new.cpp for each allocation, and defined by what is linked with them.
/// Returns memory that std::free() takes, or null, for which the operator throws std::bad_alloc.
[[nodiscard]] void* memory_or_null(std::size_t size) noexcept;

} // namespace test
