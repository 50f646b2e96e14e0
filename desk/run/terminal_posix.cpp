#include "desk/run/terminal.h"

#include <cstdlib>
#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace host {

namespace {

/// Returns the columns of a terminal; 0 if there is none.
std::size_t columns_of_terminal(int descriptor)
{
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::size_t progress_columns()
{
    constexpr std::size_t usual = 80;
    const std::size_t columns = columns_of_terminal(STDERR_FILENO);
    return columns == 0 ? usual : columns;
}

/// Returns true for a terminal in which a line can be erased.
bool is_capable_terminal(int descriptor)
{
    const char* const kind = std::getenv("TERM");
    return isatty(descriptor) != 0 && kind && *kind != '\0' && std::string_view(kind) != "dumb";
}

} // namespace

console process_console(std::string_view program)
{
    console made{std::cout, std::cerr};
    made.program = program;
    made.out_is_terminal = isatty(STDOUT_FILENO) != 0;
    made.shows_progress = is_capable_terminal(STDERR_FILENO);
    const char* const refusal = std::getenv("NO_COLOR");
    made.shows_colours = is_capable_terminal(STDOUT_FILENO) && (!refusal || *refusal == '\0');
    made.progress_width = progress_columns;
    if (const std::size_t columns = columns_of_terminal(STDOUT_FILENO); columns != 0) {
        made.width = columns;
    }
    return made;
}

} // namespace host
