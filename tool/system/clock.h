#pragma once

#include <cstdint>

namespace winapi {

/// A source of time, so that tests need not wait. Thread-safe.
class time_source
{
public:
    /// Returns the milliseconds since an unspecified start, wrapping at 32 bits (GetTickCount).
    [[nodiscard]] virtual std::uint32_t tick_count() const = 0;
    /// Returns the system time in units of 100 ns since 1601-01-01 UTC (FILETIME).
    [[nodiscard]] virtual std::uint64_t system_ticks() const = 0;
    virtual ~time_source() = default;
};

/// Returns the platform's clock. The object exists as long as the process.
const time_source& system_time_source();

} // namespace winapi
