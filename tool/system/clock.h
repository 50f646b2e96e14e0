#pragma once

#include <cstdint>

namespace winapi {

/// Source of time, so that a test never has to wait for it. All operations may be called from any thread.
class time_source
{
public:
    /// Milliseconds since some start, wrapping at 32 bits (GetTickCount).
    [[nodiscard]] virtual std::uint32_t tick_count() const = 0;
    /// System time in units of 100 ns since 1601-01-01 UTC (FILETIME).
    [[nodiscard]] virtual std::uint64_t system_ticks() const = 0;
    virtual ~time_source() = default;
};

/// The platform's clock. Lives as long as the process.
const time_source& system_time_source();

} // namespace winapi
