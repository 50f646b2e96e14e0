#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class ParseError;
} // namespace CLI

namespace command {

/// Returns the name that differs least from `unknown` if it is a likely misspelling of it; otherwise an empty text.
/// Changed, missing and additional characters are counted, and exchanged neighbours as one difference.
[[nodiscard]] std::string nearest_name(std::string_view unknown, const std::vector<std::string>& names);

/// Returns the reason for which `app` refused a command line. For a subcommand or an option that is unknown this is its
/// name with the nearest known one: there is no subcommand "opne"; the nearest is "open". For an option that was
/// written ahead of its subcommand it is the place: the option "--json" belongs behind "open".
[[nodiscard]] std::string reason_for_display(const CLI::App& app, const CLI::ParseError& problem);

} // namespace command
