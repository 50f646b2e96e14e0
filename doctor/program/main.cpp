#include "command/program_version.h"
#include "desk/run/terminal.h"
#include "desk/run/wide_arguments_windows.h"
#include "doctor/bounded_step.h"
#include "doctor/doctor_command.h"

#include <cstdlib>
#include <string>
#include <vector>

int wmain(int argc, wchar_t** argv)
{
    const char* const name = "postwarden-doctor";
    std::vector<std::string> arguments = host::utf8_arguments(argc, argv);
    arguments.erase(arguments.begin());
    const int status =
        doctor::run(arguments, name, std::string(command::program_version()), host::process_console(name));
    if (doctor::is_step_left_behind()) {
        std::_Exit(status);
    }
    return status;
}
