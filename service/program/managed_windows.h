#pragma once

#include <string>
#include <vector>

namespace service {

/// Runs the program as a service if the system's service manager has started it. Returns false if it has not.
[[nodiscard]] bool run_as_service(const std::vector<std::string>& arguments);

/// Returns one line for each of the options with which a service of the system could not start.
[[nodiscard]] std::vector<std::string> problems_of_service(const std::vector<std::wstring>& options);

} // namespace service
