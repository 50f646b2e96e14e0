#include "service/engine/stop.h"

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>
#include <utility>

namespace service {

struct stop_token::state
{
    std::atomic<bool> requested{false};
    std::mutex lock;
    std::condition_variable ended;
    std::list<stop_callback*> callbacks;
    stop_callback* running = nullptr;
};

bool stop_token::stop_requested() const noexcept
{
    return state_ && state_->requested;
}

stop_source::stop_source()
    : token_(std::make_shared<stop_token::state>())
{}

void stop_source::request_stop()
{
    const auto state = token_.state_; // a callback may destroy the source
    std::unique_lock guard(state->lock);
    if (state->requested.exchange(true)) {
        return;
    }
    while (!state->callbacks.empty()) {
        state->running = state->callbacks.front();
        state->callbacks.pop_front();
        guard.unlock();
        state->running->call_();
        guard.lock();
        state->running = nullptr;
        state->ended.notify_all();
    }
}

stop_callback::stop_callback(stop_token token, std::function<void()> call)
    : state_(std::move(token.state_))
    , call_(std::move(call))
{
    if (!state_) {
        return;
    }
    {
        const std::lock_guard guard(state_->lock);
        if (!state_->requested) {
            state_->callbacks.push_back(this);
            return;
        }
    }
    call_();
}

stop_callback::~stop_callback()
{
    if (!state_) {
        return;
    }
    std::unique_lock guard(state_->lock);
    state_->callbacks.remove(this);
    state_->ended.wait(guard, [this] { return state_->running != this; });
}

} // namespace service
