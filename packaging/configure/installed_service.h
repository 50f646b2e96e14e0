#pragma once

#include <chrono>
#include <string>

namespace packaging {

/// Stores what the installer does not about the service that it has installed: the quoted path of the program with the
/// option for its configuration file, and what manager::store_details() stores. Throws std::exception.
void complete_service(const std::wstring& program, const std::wstring& file);

/// Runs the program of the service, which verifies a configuration file without starting. Returns true if it is valid.
/// Throws std::exception; also if the program has not ended within `longest`, and ends it.
[[nodiscard]] bool accepts_configuration(const std::wstring& program, const std::wstring& file,
                                         std::chrono::milliseconds longest = std::chrono::minutes(1));

/// Returns when no process runs a program any more, or after half a minute.
void await_end_of(const std::wstring& program);

} // namespace packaging
