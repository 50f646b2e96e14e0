#include "tool/icap/time_zone.h"

#include <windows.h>

namespace icap::detail {

time_zone_state current_time_zone()
{
    TIME_ZONE_INFORMATION information{};
    time_zone_state state;
    state.id = GetTimeZoneInformation(&information);
    state.bias = static_cast<int>(information.Bias);
    state.standard_bias = static_cast<int>(information.StandardBias);
    state.daylight_bias = static_cast<int>(information.DaylightBias);
    return state;
}

std::tm utc_time(std::time_t time)
{
    std::tm utc{};
    return gmtime_s(&utc, &time) == 0 ? utc : utc_time(0);
}

} // namespace icap::detail
