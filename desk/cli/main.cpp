#include "desk/cli/command_line.h"
#include "desk/run/terminal.h"
#include "doctor/bounded_step.h"

#include <cstdlib>

int main(int argc, char** argv)
{
    const int status = host::run(argc, argv, host::process_console());
    if (doctor::is_step_left_behind()) {
        std::_Exit(status);
    }
    return status;
}
