#include "desk/cli/command_line.h"
#include "doctor/bounded_step.h"

#include <cstdlib>
#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

std::size_t terminal_width()
{
    constexpr std::size_t usual = 100;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return usual;
    }
    return size.ws_col;
}

} // namespace

int main(int argc, char** argv)
{
    const host::console where{std::cout, std::cerr, isatty(STDERR_FILENO) != 0, terminal_width()};
    const int status = host::run(argc, argv, where);
    if (doctor::is_step_left_behind()) {
        std::_Exit(status);
    }
    return status;
}
