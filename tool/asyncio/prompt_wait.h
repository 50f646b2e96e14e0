#pragma once

#include "tool/asyncio/event.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace tpl {

/// Waits for events that are often set within microseconds, as by a service on the same machine. A wait first looks for
/// the signal without sleeping: a thread that sleeps has to be woken, and waking an idle processor takes longer than
/// such an answer. It does so only while no other thread waits, and only while it pays: after some looks in vain, as
/// with a service that takes its time or a machine that is busy, most waits sleep at once. Thread-safe.
class prompt_wait
{
public:
    /// The longest time that a wait is awake.
    static constexpr std::chrono::microseconds longest_look{100};

    /// `processors` is how many the machine has: with one, the thread that sets the event could not run meanwhile.
    explicit prompt_wait(unsigned processors) noexcept
        : can_look_(processors > 1)
    {}
    prompt_wait(const prompt_wait&) = delete;
    prompt_wait& operator=(const prompt_wait&) = delete;

    /// As event::wait.
    [[nodiscard]] wait_result wait(event& signal, std::uint32_t milliseconds) noexcept;

private:
    [[nodiscard]] bool is_worth_a_look() noexcept;
    [[nodiscard]] bool look(event& signal) noexcept;

    const bool can_look_;
    std::atomic<std::uint32_t> waiting_{0}; ///< threads in wait()
    std::atomic<std::uint32_t> misses_{0};  ///< looks in vain since the last one that was not
    std::atomic<std::uint32_t> waits_{0};
};

/// The one that the process uses.
[[nodiscard]] prompt_wait& process_prompt_wait() noexcept;

} // namespace tpl
