#pragma once

#include <cstddef>

namespace service {

/// Raises the number of descriptors that this process may open to the most that the system allows it. Returns that
/// number.
std::size_t raise_descriptor_limit();

/// Returns the number of connections that can be served with that many descriptors: each may need one for its socket
/// and one for the file of its object, and the service itself needs some.
[[nodiscard]] constexpr std::size_t connections_with(std::size_t descriptors)
{
    constexpr std::size_t reserved = 128;
    return descriptors < reserved + 2 ? 1 : (descriptors - reserved) / 2;
}

} // namespace service
