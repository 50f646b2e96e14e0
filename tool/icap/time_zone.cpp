#include "tool/icap/time_zone.h"

#include "tool/icap/response_synthesis.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace icap {

int time_zone_bias(const time_zone_state& state)
{
    switch (state.id) {
    case 0:
        return state.bias;
    case 1:
        return state.bias + state.standard_bias;
    case 2:
        return state.bias + state.daylight_bias;
    default:
        throw std::runtime_error("get time zone bias: invalid time zone id");
    }
}

int time_zone_bias()
{
    return time_zone_bias(detail::current_time_zone());
}

std::string format_date(std::time_t time, int bias)
{
    const std::tm utc = detail::utc_time(time);
    std::array<char, 64> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%a, %d %b %Y %H:%M:%S", &utc);
    const int minutes = std::abs(bias);
    std::array<char, 32> zone{};
    const int zone_length =
        std::snprintf(zone.data(), zone.size(), " %c%02d%02d", bias < 0 ? '+' : '-', minutes / 60, minutes % 60);
    return std::string(date.data(), length).append(zone.data(), static_cast<std::size_t>(zone_length));
}

std::string format_date()
{
    return format_date(std::time(nullptr), time_zone_bias());
}

} // namespace icap
