#pragma once

#include <cstddef>

namespace service {

/// Raises the number of descriptors that this process may open to the most that the system allows it. Returns that
/// number.
std::size_t raise_descriptor_limit();

/// Descriptors for the log, for the sockets of engines, and for connections that are refused.
inline constexpr std::size_t reserved_descriptors = 128;

/// Returns the number of connections that can be served with that many descriptors: half of those that are not
/// reserved, because objects may need files.
[[nodiscard]] constexpr std::size_t connections_with(std::size_t descriptors)
{
    return descriptors < reserved_descriptors + 2 ? 1 : (descriptors - reserved_descriptors) / 2;
}

/// Returns the number of objects that can be kept in files beside that many connections. A file has two descriptors.
[[nodiscard]] constexpr std::size_t body_files_with(std::size_t descriptors, std::size_t connections)
{
    const std::size_t others = reserved_descriptors + connections;
    return descriptors < others + 2 ? 1 : (descriptors - others) / 2;
}

} // namespace service
