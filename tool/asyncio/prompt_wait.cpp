#include "tool/asyncio/prompt_wait.h"

#include <thread>

namespace tpl {

namespace {

constexpr std::uint32_t misses_allowed = 3;
constexpr std::uint32_t waits_between_trials = 64; // while looks are in vain

} // namespace

wait_result prompt_wait::wait(event& signal, std::uint32_t milliseconds) noexcept
{
    const bool alone = waiting_.fetch_add(1) == 0;
    const bool found = alone && milliseconds != 0 && is_worth_a_look() && look(signal);
    const auto result = found ? wait_result::signalled : signal.wait(milliseconds);
    --waiting_;
    return result;
}

bool prompt_wait::is_worth_a_look() noexcept
{
    return can_look_ && (misses_ < misses_allowed || ++waits_ % waits_between_trials == 0);
}

bool prompt_wait::look(event& signal) noexcept
{
    const auto end = std::chrono::steady_clock::now() + longest_look;
    do {
        for (int repeated = 0; repeated < 16; ++repeated) {
            if (signal.wait(0) == wait_result::signalled) {
                misses_ = 0;
                return true;
            }
        }
    } while (waiting_ == 1 && std::chrono::steady_clock::now() < end);
    ++misses_;
    return false;
}

prompt_wait& process_prompt_wait() noexcept
{
    static prompt_wait only(std::thread::hardware_concurrency());
    return only;
}

} // namespace tpl
