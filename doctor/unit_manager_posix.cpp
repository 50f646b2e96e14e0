#include "doctor/unit_manager_posix.h"

#include "doctor/program_run_posix.h"

#include <algorithm>
#include <filesystem>

namespace doctor {

std::optional<std::string> systemctl_manager::state_of(const std::string& unit)
{
    std::error_code error;
    if (!std::filesystem::is_directory("/run/systemd/system", error)) {
        return {};
    }
    std::string state = run_program({"systemctl", "is-active", unit}, longest_).output;
    state.erase(std::min(state.find('\n'), state.size()));
    return state;
}

bool systemctl_manager::is_installed(const std::string& unit)
{
    return run_program({"systemctl", "cat", unit}, longest_).status == 0;
}

} // namespace doctor
