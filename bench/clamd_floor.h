#pragma once

#include <chrono>

namespace bench {

/// Serves sessions of a clamd daemon that finds nothing: reads each object and calls it clean after `pause`, as long
/// as an engine would take for it, without using the processor. Prints a line that ends with ":PORT" and serves on
/// 127.0.0.1, one thread for each connection, until its parent ends. Returns an exit status if it cannot. Linux only.
int serve_clamd_floor(std::chrono::milliseconds pause);

} // namespace bench
