#pragma once

#include "desk/run/console.h"

#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace host {

/// The options of "postwarden settings".
struct settings_options
{
    bool makes = false;  ///< true for "make", false for "show"
    std::string file;    ///< input file
    bool json = false;   ///< show as JSON
    std::string made_to; ///< output file of "make"
};

/// Adds the command and its two subcommands, "show" and "make". `options` receives their values.
CLI::App* add_settings(CLI::App& app, settings_options& options);

/// Runs the subcommand that was parsed into `options`.
exit_status run_settings(const settings_options& options, const console& where);

} // namespace host
