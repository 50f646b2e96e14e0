#include "desk/run/terminal_options.h"

#include <CLI/CLI.hpp>

#include <map>
#include <string>

namespace host {

void add_terminal_options(CLI::App& command, terminal_options& options)
{
    static const std::map<std::string, colour_choice> choices{
        {"auto", colour_choice::automatic}, {"always", colour_choice::always}, {"never", colour_choice::never}};
    command.add_flag("--quiet", options.quiet, "Show no progress");
    command
        .add_option("--color", options.colours, "Show verdicts in colour (default: on a terminal, without NO_COLOR)")
        ->transform(CLI::CheckedTransformer(choices).description(""))
        ->type_name("auto|always|never");
}

console console_with(const console& where, const terminal_options& options)
{
    console result = where;
    result.shows_progress = where.shows_progress && !options.quiet;
    if (options.colours != colour_choice::automatic) {
        result.shows_colours = options.colours == colour_choice::always;
    }
    return result;
}

} // namespace host
