#pragma once

#include "tool/icap/response_synthesis.h"

#include <ctime>

/// The system's calendar and time zone; each system has its own implementation.
namespace icap::detail {

[[nodiscard]] time_zone_state current_time_zone();

/// Returns `time` broken down in UTC, or the beginning of 1970 for a time that the calendar does not contain.
/// Thread-safe.
[[nodiscard]] std::tm utc_time(std::time_t time);

} // namespace icap::detail
