#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace manager {

/// Returns one line for each of the options with which a service could not start.
using option_check = std::function<std::vector<std::string>(const std::vector<std::wstring>& options)>;

/// Executes `install [--name NAME] [OPTION...]`, or `remove`, `start`, `stop` or `reload` with `[--name NAME]`.
/// `arguments` are those of the command line, without the name of the program. Returns the exit status: 0, 1 if the
/// manager refused the command, 2 if the command line is wrong. Returns nothing if the first argument is none of these
/// commands.
[[nodiscard]] std::optional<int> run_command(const std::vector<std::wstring>& arguments,
                                             const option_check& problems_with, std::ostream& out,
                                             std::ostream& errors);

} // namespace manager
