#include "desk/run/terminal.h"

#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace host {

console process_console(std::string_view program)
{
    console made{std::cout, std::cerr};
    made.program = program;
    made.shows_progress = isatty(STDERR_FILENO) != 0;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0) {
        made.width = size.ws_col;
    }
    return made;
}

} // namespace host
