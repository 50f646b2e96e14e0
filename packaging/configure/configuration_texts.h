#pragma once

#include <cstdint>
#include <string>

namespace packaging {

/// What the installer is asked for by its public properties. Values that cannot be configured throw
/// std::invalid_argument with a text that begins with the name of the property.

/// Returns a configuration file of the service. `engines` is ENGINE: one or more engines, separated by ";". `log` is
/// the path of a log, which the file proposes and does not enable.
[[nodiscard]] std::string service_configuration(std::uint16_t port, const std::string& engines, const std::string& log);

/// Returns a settings file of the broker.
[[nodiscard]] std::string broker_settings(std::uint16_t port);

} // namespace packaging
