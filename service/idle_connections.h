#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

namespace service {

class connection;

/// The connections on which no request has begun, in the order in which they became idle. Thread-safe.
class idle_connections
{
public:
    /// Identifies one stay in the list. No stay has the value 0.
    using place = std::uint64_t;

    /// Adds a connection behind all others. Returns its place.
    [[nodiscard]] place enter(std::weak_ptr<connection> idle);
    /// Removes the connection at `left`. Does nothing if it was removed before.
    void leave(place left);
    /// Removes and returns the connection that has been idle longest; null if there is none.
    [[nodiscard]] std::shared_ptr<connection> take_longest();

private:
    std::mutex lock_;
    place last_ = 0;
    std::map<place, std::weak_ptr<connection>> idle_;
};

} // namespace service
