#pragma once

namespace bench {

/// Serves ICAP requests that nobody reads: each connection gets a 204 as soon as the bytes that arrived end with the
/// last chunk of a body. No server that reads its requests is faster on the same sockets. Prints a line that ends with
/// ":PORT" and serves on 127.0.0.1, in one thread, until its parent ends. Returns an exit status if it cannot. Linux
/// only.
int serve_wire_floor();

} // namespace bench
