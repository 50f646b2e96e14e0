#pragma once

#include "doctor/row.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace doctor {

/// The exit statuses, which monitors use.
inline constexpr int status_ok = 0;
inline constexpr int status_warning = 1;
inline constexpr int status_failed = 2;
inline constexpr int status_unknown = 3; ///< nothing was examined, such as after an invalid command line

/// Returns "ok", "warning", "failed" or "not applicable".
[[nodiscard]] std::string_view state_words(row_state state);
/// Returns the worst state of all rows; `ok` if none is worse.
[[nodiscard]] row_state worst_of(const std::vector<row>& rows);
[[nodiscard]] int status_of(const std::vector<row>& rows);

/// Returns the rows as a table for a terminal with `width` columns. Long sentences continue in further lines. Control
/// characters and invalid bytes become "?".
[[nodiscard]] std::string table_text(const std::vector<row>& rows, std::size_t width);
/// Returns the rows as one JSON object in one line. docs/administration.md describes its fields.
[[nodiscard]] std::string json_text(const std::vector<row>& rows);

} // namespace doctor
