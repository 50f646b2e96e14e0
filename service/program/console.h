#pragma once

#include <string>
#include <vector>

namespace service {

/// Runs the program as a command: until a signal ends it, or to show something. `arguments` are those of the command
/// line, without the name of the program. Returns the exit status.
[[nodiscard]] int run_on_console(const std::vector<std::string>& arguments);

/// Writes an error to standard error.
void complain(const std::string& what);

} // namespace service
