#include "tool/system/clock.h"

#include <ctime>

namespace winapi {

namespace {

/// 1601-01-01 to 1970-01-01 in units of 100 ns.
constexpr std::uint64_t epoch_distance = 116444736000000000U;

class platform_time final : public time_source
{
public:
    [[nodiscard]] std::uint32_t tick_count() const override
    {
        timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        const auto milliseconds =
            static_cast<std::uint64_t>(now.tv_sec) * 1000U + static_cast<std::uint64_t>(now.tv_nsec) / 1000000U;
        return static_cast<std::uint32_t>(milliseconds);
    }

    [[nodiscard]] std::uint64_t system_ticks() const override
    {
        timespec now{};
        ::clock_gettime(CLOCK_REALTIME, &now);
        return epoch_distance + static_cast<std::uint64_t>(now.tv_sec) * 10000000U +
               static_cast<std::uint64_t>(now.tv_nsec) / 100U;
    }
};

const platform_time platform_clock;

} // namespace

const time_source& system_time_source()
{
    return platform_clock;
}

} // namespace winapi
