#pragma once

#include "tool/asyncio/event.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>

namespace tpl {

/// A word that threads wait on, by the kernel's futex calls: a condition variable makes two system calls more for each
/// signal, since a woken thread takes its lock as a contended one.
class event::impl
{
public:
    using clock = std::chrono::steady_clock;

    /// Signals, and wakes the waiting threads.
    void set() noexcept;
    /// Takes the signal. Returns false if there is none.
    [[nodiscard]] bool take() noexcept;
    /// Makes every sleep() return that was or will be called with the present word.
    void interrupt() noexcept;
    /// Returns the word that sleep() compares with.
    [[nodiscard]] std::uint32_t word() const noexcept { return word_; }
    /// Sleeps while the word is `seen`, until `end` at the latest. May return without a cause.
    void sleep(std::uint32_t seen, std::optional<clock::time_point> end) noexcept;

private:
    static constexpr std::uint32_t signal = 1; ///< the other bits count interruptions
    static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

    void wake() noexcept;

    std::atomic<std::uint32_t> word_{0};
    std::atomic<std::uint32_t> sleepers_{0};
};

} // namespace tpl
