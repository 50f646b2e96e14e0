#pragma once

#include "service/engine/timed_stream.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace service {

/// The open connections to one server that are not in use. The one used last is taken first. `Stream` has the functions
/// is_quiet() and reuse() of timed_stream. Thread-safe.
template <typename Stream>
class kept_streams
{
public:
    using time_point = std::chrono::steady_clock::time_point;
    using clock = std::function<time_point()>;

    static constexpr std::size_t most = 32;
    /// A connection that has been kept for longer is closed: a device between the machines may have forgotten it.
    static constexpr std::chrono::seconds lifetime{30};

    explicit kept_streams(clock now)
        : now_(std::move(now))
    {}

    /// Returns a connection that is open and on which nothing has arrived; null if there is none.
    [[nodiscard]] std::unique_ptr<Stream> take(stop_token stop, time_point deadline = time_point::max());
    void keep(std::unique_ptr<Stream> stream);
    /// Keeps at most `count` connections from now on, and never more than `most`.
    void limit(std::size_t count);

private:
    void close_surplus();

    struct entry
    {
        std::unique_ptr<Stream> stream;
        time_point since;
    };

    clock now_;
    std::mutex lock_;
    std::size_t limit_ = most; ///< guarded by lock_
    std::vector<entry> kept_;  ///< ordered by time
};

template <typename Stream>
std::unique_ptr<Stream> kept_streams<Stream>::take(stop_token stop, time_point deadline)
{
    const auto oldest = now_() - lifetime;
    const std::lock_guard guard(lock_);
    std::erase_if(kept_, [oldest](const entry& kept) { return kept.since < oldest; });
    while (!kept_.empty()) {
        auto stream = std::move(kept_.back().stream);
        kept_.pop_back();
        if (stream->is_quiet()) {
            stream->reuse(std::move(stop), deadline);
            return stream;
        }
    }
    return nullptr;
}

template <typename Stream>
void kept_streams<Stream>::keep(std::unique_ptr<Stream> stream)
{
    stream->reuse();
    const auto now = now_();
    const std::lock_guard guard(lock_);
    kept_.push_back({std::move(stream), now});
    close_surplus();
}

template <typename Stream>
void kept_streams<Stream>::limit(std::size_t count)
{
    const std::lock_guard guard(lock_);
    limit_ = std::min(count, most);
    close_surplus();
}

/// Closes the oldest connections.
template <typename Stream>
void kept_streams<Stream>::close_surplus()
{
    while (kept_.size() > limit_) {
        kept_.erase(kept_.begin());
    }
}

} // namespace service
