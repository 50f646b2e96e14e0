#pragma once

#include "service/engine/timed_stream.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace service {

/// The open connections to one server that are not in use. The one used last is taken first. Thread-safe.
class kept_streams
{
public:
    using time_point = std::chrono::steady_clock::time_point;
    using clock = std::function<time_point()>;

    static constexpr std::size_t most = 32;
    /// A connection that has been kept for longer is closed: a device between the machines may have forgotten it.
    static constexpr std::chrono::seconds lifetime{30};

    explicit kept_streams(clock now);

    /// Returns a connection that is open and on which nothing has arrived; null if there is none.
    [[nodiscard]] std::unique_ptr<timed_stream> take(stop_token stop, time_point deadline = time_point::max());
    void keep(std::unique_ptr<timed_stream> stream);

private:
    struct entry
    {
        std::unique_ptr<timed_stream> stream;
        time_point since;
    };

    clock now_;
    std::mutex lock_;
    std::vector<entry> kept_; ///< ordered by time
};

} // namespace service
