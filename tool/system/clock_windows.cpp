#include "tool/system/clock.h"

#include <windows.h>

namespace winapi {

namespace {

class platform_time final : public time_source
{
public:
    [[nodiscard]] std::uint32_t tick_count() const override { return ::GetTickCount(); }

    [[nodiscard]] std::uint64_t system_ticks() const override
    {
        FILETIME now{};
        ::GetSystemTimeAsFileTime(&now);
        return (static_cast<std::uint64_t>(now.dwHighDateTime) << 32U) | now.dwLowDateTime;
    }
};

const platform_time platform_clock;

} // namespace

const time_source& system_time_source()
{
    return platform_clock;
}

} // namespace winapi
