#pragma once

#include <cstdint>
#include <string>

namespace winapi {

/// Formats a time for display: `date` in the user's long form ("Saturday, November 21, 2026" for US English) and `time`
/// ("3:04:05 PM"), each at most 255 characters. `file_time` counts units of 100 ns since 1601-01-01 UTC and is shown in
/// local time, with the current difference to UTC. On systems other than Windows the form is always that of US English.
/// Returns false, with both texts empty, for a time that has no date.
[[nodiscard]] bool format_local_time(std::uint64_t file_time, std::wstring& date, std::wstring& time);

} // namespace winapi
