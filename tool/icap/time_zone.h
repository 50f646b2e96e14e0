#pragma once

#include "tool/icap/response_synthesis.h"

#include <ctime>

/// What the system tells of time; one implementation a system.
namespace icap::detail {

[[nodiscard]] time_zone_state current_time_zone();

/// `time` broken down in UTC; the beginning of 1970 for one that the calendar doesn't hold. Safe on several threads.
[[nodiscard]] std::tm utc_time(std::time_t time);

} // namespace icap::detail
