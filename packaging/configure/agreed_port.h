#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace packaging {

/// Reads PORT: a number from 1 to 65535. Otherwise throws std::invalid_argument with a text that begins with "PORT".
[[nodiscard]] std::uint16_t port_of(const std::string& text);

/// Returns the port at which a service with this configuration file listens; nothing if it specifies none, or cannot be
/// read.
[[nodiscard]] std::optional<std::uint16_t> port_of_service(const std::string& configuration);

/// Returns the port at which an add-in with these settings looks for the service; nothing if they cannot be read.
[[nodiscard]] std::optional<std::uint16_t> port_of_addin(const std::string& settings);

/// Returns the port for a file that is written: `wanted`, which is PORT, or without it that of the other file, or
/// without both the default of all settings. `other_name` is the name of the other file. Throws std::invalid_argument
/// if PORT is none, or another one than that of the other file, which would have the add-in look where no service is.
[[nodiscard]] std::uint16_t agreed_port(const std::string& wanted, std::optional<std::uint16_t> other,
                                        const std::string& other_name);

} // namespace packaging
