#include "tool/icap/time_zone.h"

namespace icap::detail {

time_zone_state current_time_zone()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    time_zone_state state;
    // The offset includes the daylight part already, so the state has none of its own.
    state.bias = static_cast<int>(-local.tm_gmtoff / 60);
    return state;
}

std::tm utc_time(std::time_t time)
{
    std::tm utc{};
    return gmtime_r(&time, &utc) != nullptr ? utc : utc_time(0);
}

} // namespace icap::detail
