#include "service/engine/stream_places.h"

#include <stdexcept>

namespace service {

stream_places::stream_places(std::size_t count)
    : count_(count)
{}

std::unique_ptr<stream_places::place> stream_places::take(const stop_token& stop)
{
    const stop_callback on_stop(stop, [this] {
        const std::lock_guard guard(lock_);
        changed_.notify_all();
    });
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return is_free() || stop.stop_requested(); });
    if (stop.stop_requested()) {
        throw std::runtime_error("wait for a stream: the service is stopping");
    }
    auto made = std::make_unique<place>(*this);
    ++taken_;
    return made;
}

std::unique_ptr<stream_places::place> stream_places::take_free()
{
    const std::lock_guard guard(lock_);
    if (!is_free()) {
        return nullptr;
    }
    auto made = std::make_unique<place>(*this);
    ++taken_;
    return made;
}

void stream_places::resize(std::size_t count)
{
    const std::lock_guard guard(lock_);
    count_ = count;
    changed_.notify_all();
}

void stream_places::give_back()
{
    const std::lock_guard guard(lock_);
    --taken_;
    changed_.notify_one();
}

} // namespace service
