#include "service/engine/kept_streams.h"

#include <utility>

namespace service {

kept_streams::kept_streams(clock now)
    : now_(std::move(now))
{}

std::unique_ptr<timed_stream> kept_streams::take(stop_token stop, time_point deadline)
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

void kept_streams::keep(std::unique_ptr<timed_stream> stream)
{
    stream->reuse();
    const auto now = now_();
    const std::lock_guard guard(lock_);
    if (kept_.size() == most) {
        kept_.erase(kept_.begin());
    }
    kept_.push_back({std::move(stream), now});
}

} // namespace service
