#pragma once

#include "desk/run/console.h"

#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace host {

/// What the user asked of "postwarden settings".
struct settings_options
{
    bool makes = false;  ///< "make", otherwise "show"
    std::string file;    ///< what is read
    bool json = false;   ///< show as JSON
    std::string made_to; ///< where "make" writes the blob
};

/// Adds the command and its two subcommands, "show" and "make".
CLI::App* add_settings(CLI::App& app, settings_options& options);

/// Runs the subcommand that was parsed into `options`.
exit_status run_settings(const settings_options& options, const console& where);

} // namespace host
