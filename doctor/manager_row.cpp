#include "doctor/manager_row.h"

#include <exception>

namespace doctor {

namespace {

std::string words_of(managed_service::activity state)
{
    switch (state) {
    case managed_service::activity::running:
        return "running";
    case managed_service::activity::changing:
        return "starting or stopping";
    case managed_service::activity::paused:
        return "paused";
    default:
        return "stopped";
    }
}

/// Returns true for the account of the system itself, which may do everything.
bool is_all_powerful(const std::string& account)
{
    return account.empty() || account == "LocalSystem" || account == ".\\LocalSystem" ||
           account == "NT AUTHORITY\\SYSTEM" || account == "NT AUTHORITY\\System";
}

} // namespace

finding manager_row(service_manager& manager, const std::string& name)
{
    std::optional<managed_service> found;
    try {
        found = manager.find(name);
    } catch (const std::exception& failure) {
        return failed(failure.what(), "Run this program as an administrator.");
    }
    if (!found) {
        return warning(
            "no service " + name + " is registered",
            "Install the service with the installer: a program that was started by hand ends with its user.");
    }
    const std::string text = name + " is " + words_of(found->state) + ", account " +
                             (found->account.empty() ? "LocalSystem" : found->account);
    if (found->state != managed_service::activity::running) {
        return failed(text,
                      "Start the service: sc start " + name + ". Its reason for not running is in the event log.");
    }
    if (!found->automatic) {
        return warning(text + ", not started with the machine",
                       "Set its start type: sc config " + name + " start= auto.");
    }
    if (is_all_powerful(found->account)) {
        return warning(text, "The service reads hostile bytes: let it run as NT AUTHORITY\\LocalService.");
    }
    return ok(text);
}

} // namespace doctor
