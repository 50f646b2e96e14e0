#include "tool/asyncio/event_posix.h"

#include "tool/asyncio/thread.h"

#include <chrono>

namespace tpl {

event::event()
    : impl_(std::make_unique<impl>())
{}

event::~event() = default;

void event::set() noexcept
{
    const std::lock_guard guard(impl_->lock);
    impl_->signalled = true;
    impl_->changed.notify_all(); // wakes all: a registered wait about to end must not consume this notification
}

wait_result event::wait(std::uint32_t milliseconds) noexcept
{
    std::unique_lock guard(impl_->lock);
    const auto signalled = [this] { return impl_->signalled; };
    if (milliseconds == infinite) {
        impl_->changed.wait(guard, signalled);
    } else if (milliseconds == 0) { // the condition variable would sleep for the system's timer slack
        if (!signalled()) {
            return wait_result::timeout;
        }
    } else if (!impl_->changed.wait_for(guard, std::chrono::milliseconds(milliseconds), signalled)) {
        return wait_result::timeout;
    }
    impl_->signalled = false;
    return wait_result::signalled;
}

} // namespace tpl
