#pragma once

#include "desk/run/console.h"

#include <string_view>

namespace host {

/// Returns the standard streams of this process, and what is known of the terminal behind them. On Windows sets the
/// code page of the terminal to UTF-8.
[[nodiscard]] console process_console(std::string_view program = "postwarden");

} // namespace host
