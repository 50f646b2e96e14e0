#include "doctor/unit_rows.h"

#include <algorithm>
#include <exception>

namespace doctor {

finding unit_row(unit_manager& manager, const std::string& unit)
{
    std::optional<std::string> state;
    bool installed = false;
    try {
        state = manager.state_of(unit);
        installed = state && manager.is_installed(unit);
    } catch (const std::exception& failure) {
        return failed(failure.what(), "Run systemctl status " + unit + ".");
    }
    if (!state) {
        return not_applicable("systemd does not run here");
    }
    if (*state == "active") {
        return ok(unit + " is active");
    }
    if (!installed) {
        return not_applicable("no unit " + unit + " is installed");
    }
    return failed(unit + " is " + *state,
                  "Run systemctl restart " + unit + "; journalctl -u " + unit + " shows why it is not active.");
}

finding configuration_row(const configuration_check& done)
{
    if (!done.exists) {
        return not_applicable("no file " + done.file + "; --config names another one");
    }
    if (done.status == 0) {
        return ok(done.file + " is valid");
    }
    std::string problems = done.output;
    problems.erase(problems.find_last_not_of('\n') + 1);
    std::replace(problems.begin(), problems.end(), '\n', ';');
    return failed(done.file + ": " + problems,
                  "Correct the file: the service keeps its options at a reload, and does not start with it.");
}

} // namespace doctor
