#pragma once

#include "desk/run/console.h"

namespace CLI {
class App;
} // namespace CLI

namespace host {

enum class colour_choice
{
    automatic, ///< on a terminal that shows them, unless the environment refuses them
    always,
    never
};

/// The options for what a command shows on a terminal.
struct terminal_options
{
    bool quiet = false; ///< no progress
    colour_choice colours = colour_choice::automatic;
};

/// Adds the options of terminal_options to `command`. `options` must outlive it.
void add_terminal_options(CLI::App& command, terminal_options& options);

/// Returns the console as the options specify it.
console console_with(const console& where, const terminal_options& options);

} // namespace host
