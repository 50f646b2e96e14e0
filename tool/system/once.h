#pragma once

#include "tool/system/identity.h"
#include "tool/system/named_mutex.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>

namespace winapi {

/// Stores whether a once-only initialisation has been done. Must be in static storage; it needs no initialisation at
/// run time, so it may be used before main.
class once_flag
{
public:
    constexpr once_flag() noexcept = default;
    once_flag(const once_flag&) = delete;
    once_flag& operator=(const once_flag&) = delete;

    [[nodiscard]] bool is_set() const noexcept { return set_.load(std::memory_order_acquire); }
    void set() noexcept { set_.store(true, std::memory_order_release); }

private:
    std::atomic<bool> set_{false};
};

/// Returns the name of the mutex that guards an initialisation: the process's identifier and the flag's address make it
/// unique.
[[nodiscard]] std::wstring once_mutex_name(std::uint32_t process_id, const void* flag);

/// Runs the function unless the flag is set, then sets the flag. Threads that call at the same time wait until it is
/// done. If the function throws, the flag remains clear, the exception passes to this caller, and the next caller tries
/// again. Throws winapi::last_error if the guarding mutex is not available.
template <typename Function>
void once(once_flag& flag, Function&& function)
{
    if (flag.is_set()) {
        return;
    }
    const named_mutex_lock guard(once_mutex_name(current_process_id(), &flag));
    if (!flag.is_set()) {
        std::forward<Function>(function)();
        flag.set();
    }
}

} // namespace winapi
