#pragma once

#include "doctor/examination.h"
#include "doctor/options.h"
#include "doctor/port_owner.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

namespace doctor {

/// What of the examination depends on the system.
struct machine
{
    std::vector<check> checks; ///< the rows ahead of those of the service
    std::shared_ptr<port_table> ports;
    std::uint16_t port = 1345;   ///< of the settings in force
    std::string uri = "webscan"; ///< of the settings in force, without the leading "/"
};

/// Adds the options that this system has and the other does not.
void add_machine_options(CLI::App& app, doctor_options& options);
/// Returns the rows of this system. Asks for the settings, for the time of one step at most. `version` is that of this
/// program.
[[nodiscard]] machine this_machine(const doctor_options& options, const std::string& version);

} // namespace doctor
