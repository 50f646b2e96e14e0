#pragma once

namespace test {

/// Returns whether the byte at an address can be read, as the system reports it without an access to the byte.
[[nodiscard]] bool can_be_read(const void* address);

} // namespace test
