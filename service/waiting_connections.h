#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

namespace service {

class connection;

/// Connections that wait for their peers, in the order in which their waits began. Thread-safe.
class waiting_connections
{
public:
    /// Identifies one stay in the list. No stay has the value 0.
    using place = std::uint64_t;

    /// Adds a connection behind all others. Returns its place.
    [[nodiscard]] place enter(std::weak_ptr<connection> waiting);
    /// Removes the connection at `left`. Does nothing if it was removed before.
    void leave(place left);
    /// Removes and returns the connection that has waited longest; null if there is none.
    [[nodiscard]] std::shared_ptr<connection> take_longest();

private:
    std::mutex lock_;
    place last_ = 0;
    std::map<place, std::weak_ptr<connection>> waiting_;
};

} // namespace service
