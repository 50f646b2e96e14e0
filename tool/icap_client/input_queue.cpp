#include "tool/icap_client/input_queue.h"

#include <algorithm>
#include <utility>

namespace icap {

buffer::buffer(const char* begin, const char* end)
    : bytes_(static_cast<std::size_t>(end - begin))
{
    std::copy(begin, end, bytes_.begin());
}

namespace client {

input_queue::input_queue(handler handle, void* context, std::size_t capacity)
    : capacity_(capacity)
    , handle_(handle)
    , context_(context)
    , wait_(std::make_unique<tpl::registered_wait>(wake_, [this] { drain(); }))
{}

input_queue::~input_queue()
{
    stop();
}

void input_queue::push(std::shared_ptr<icap::buffer> bytes)
{
    bool wake = false;
    {
        const std::size_t size = bytes->size();
        std::unique_lock guard(lock_);
        room_.wait(guard,
                   [&] { return stop_ || buffers_.empty() || size <= capacity_ - std::min(capacity_, waiting_); });
        buffers_.push_back(std::move(bytes));
        waiting_ += size;
        wake = !std::exchange(running_, true);
    }
    if (wake) {
        wake_.set();
    }
}

void input_queue::begin_stop() noexcept
{
    {
        const std::lock_guard guard(lock_);
        stop_ = true;
    }
    room_.notify_all();
    wait_->end();
}

void input_queue::stop()
{
    begin_stop();
    wait_->unregister();
}

bool input_queue::is_stopping() const
{
    const std::lock_guard guard(lock_);
    return stop_;
}

std::size_t input_queue::size() const
{
    const std::lock_guard guard(lock_);
    return buffers_.size();
}

std::shared_ptr<icap::buffer> input_queue::pop()
{
    const std::lock_guard guard(lock_);
    if (stop_ || buffers_.empty()) {
        running_ = false;
        return nullptr;
    }
    auto front = std::move(buffers_.front());
    buffers_.pop_front();
    waiting_ -= front->size();
    room_.notify_all();
    return front;
}

void input_queue::drain() noexcept
{
    while (const auto bytes = pop()) {
        handle_(context_, *bytes);
    }
}

} // namespace client
} // namespace icap
