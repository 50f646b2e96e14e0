#pragma once

namespace test {

/// Asks the system whether the byte at an address can be read, without touching it.
[[nodiscard]] bool can_be_read(const void* address);

} // namespace test
