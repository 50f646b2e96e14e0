#include "tool/asyncio/event_posix.h"

#include "tool/asyncio/thread.h"

#include <climits>

#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tpl {

namespace {

timespec to_timespec(std::chrono::steady_clock::time_point time)
{
    const auto since_start = time.time_since_epoch(); // that of CLOCK_MONOTONIC
    const auto seconds = std::chrono::floor<std::chrono::seconds>(since_start);
    return {static_cast<time_t>(seconds.count()),
            static_cast<long>(std::chrono::nanoseconds(since_start - seconds).count())};
}

} // namespace

void event::impl::set() noexcept
{
    if ((word_.fetch_or(signal) & signal) == 0) {
        wake();
    }
}

bool event::impl::take() noexcept
{
    return (word_.load() & signal) != 0 && (word_.fetch_and(~signal) & signal) != 0;
}

void event::impl::interrupt() noexcept
{
    word_.fetch_add(signal << 1U);
    wake();
}

void event::impl::wake() noexcept
{
    if (sleepers_ != 0) {
        // All of them: one that is about to end must not consume the wake-up of another.
        ::syscall(SYS_futex, &word_, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
    }
}

void event::impl::sleep(std::uint32_t seen, std::optional<clock::time_point> end) noexcept
{
    timespec until{};
    if (end) {
        until = to_timespec(*end);
    }
    ++sleepers_; // ahead of the kernel's comparison, so that a change after it finds a sleeper
    ::syscall(SYS_futex, &word_, FUTEX_WAIT_BITSET_PRIVATE, seen, end ? &until : nullptr, nullptr,
              FUTEX_BITSET_MATCH_ANY);
    --sleepers_;
}

event::event()
    : impl_(std::make_shared<impl>())
{}

event::~event() = default;

void event::set() noexcept
{
    const auto kept = impl_; // the woken thread may destroy the event at once
    kept->set();
}

wait_result event::wait(std::uint32_t milliseconds) noexcept
{
    std::optional<impl::clock::time_point> end;
    for (;;) {
        const std::uint32_t seen = impl_->word();
        if (impl_->take()) {
            return wait_result::signalled;
        }
        if (milliseconds == 0) {
            return wait_result::timeout;
        }
        if (milliseconds != infinite) {
            const auto now = impl::clock::now();
            end = end.value_or(now + std::chrono::milliseconds(milliseconds));
            if (now >= *end) {
                return wait_result::timeout;
            }
        }
        impl_->sleep(seen, end);
    }
}

} // namespace tpl
