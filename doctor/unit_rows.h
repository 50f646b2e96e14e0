#pragma once

#include "doctor/row.h"

#include <optional>
#include <string>
#include <vector>

namespace doctor {

/// What a system with systemd is asked for.
class unit_manager
{
public:
    /// Returns the state of a unit as "systemctl is-active" prints it; no value if systemd does not run. Throws
    /// std::runtime_error with the reason in words.
    [[nodiscard]] virtual std::optional<std::string> state_of(const std::string& unit) = 0;
    /// Returns true if the unit is installed.
    [[nodiscard]] virtual bool is_installed(const std::string& unit) = 0;
    virtual ~unit_manager() = default;
};

[[nodiscard]] finding unit_row(unit_manager& manager, const std::string& unit);

/// The outcome of the service's own look at its configuration file.
struct configuration_check
{
    std::string file;
    bool exists = false;
    int status = 0;     ///< of the program
    std::string output; ///< what it printed
};

[[nodiscard]] finding configuration_row(const configuration_check& done);

} // namespace doctor
