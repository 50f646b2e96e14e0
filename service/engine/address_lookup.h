#pragma once

#include "service/engine/stop.h"
#include "service/engine/timed_stream.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace service {

/// The addresses of a host. A literal address needs no query. A name is looked up by the system, on a thread of its own
/// because such a query cannot be interrupted; at most one query is under way. Thread-safe.
class address_lookup
{
public:
    using addresses = std::vector<timed_stream::endpoint>;
    /// Queries the addresses of a name. Throws an exception derived from std::exception if there are none. May block.
    using query = std::function<addresses(const std::string& host, std::uint16_t port)>;

    /// How long the addresses of a name are used before they are looked up again.
    static constexpr std::chrono::seconds lifetime{60};

    address_lookup(std::string host, std::uint16_t port, query asked);
    address_lookup(const address_lookup&) = delete;
    address_lookup& operator=(const address_lookup&) = delete;
    /// Does not wait for a query that is under way; its result is dropped.
    ~address_lookup();

    /// Returns the addresses, at least one, in the order in which they are to be tried. Throws std::runtime_error if
    /// there are none, if they are not known in time, or if a stop is requested.
    [[nodiscard]] addresses find(std::chrono::milliseconds timeout, const stop_token& stop,
                                 timed_stream::time_point deadline = timed_stream::time_point::max());

private:
    struct state;
    std::shared_ptr<state> state_;
};

/// Queries the system.
[[nodiscard]] address_lookup::addresses query_addresses(const std::string& host, std::uint16_t port);

} // namespace service
