#pragma once

#include <cstdint>

namespace bench {

/// Makes a socket that does not block and listens on a free port of 127.0.0.1. Returns the port, or 0 and sets errno.
/// POSIX only.
[[nodiscard]] std::uint16_t listen_on_loopback(int& listener);

/// Prints the line by which a server of this folder announces its port, and asks the system to end this process with
/// its parent. Linux only.
void announce_port(std::uint16_t port);

} // namespace bench
