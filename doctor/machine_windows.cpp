#include "doctor/addin_rows.h"
#include "doctor/bounded_step.h"
#include "doctor/broker_rows.h"
#include "doctor/machine.h"
#include "doctor/manager_windows.h"
#include "doctor/port_owner_windows.h"
#include "doctor/program_files_windows.h"
#include "doctor/registry_view_windows.h"
#include "outlook/qdmailprotect/link/com_broker_windows.h"
#include "tool/system/conversions.h"

namespace doctor {

namespace {

constexpr const char* registry_hanging = "Restart the machine: its registry does not answer.";

/// Asks the broker, on a thread of its own, because a broker may not answer.
broker_answer ask_in_time(std::chrono::milliseconds longest)
{
    const auto answer = std::make_shared<broker_answer>();
    const auto done = within(longest, [answer] {
        ComBroker broker;
        *answer = ask(broker);
        return ok({});
    });
    return done ? *answer : broker_answer{{}, "the settings broker does not answer"};
}

void add_addin_checks(std::vector<check>& checks, const std::string& version)
{
    const auto registry = std::make_shared<system_registry>();
    const auto files = std::make_shared<system_program_files>();
    checks.push_back({"addin-machine", [registry] { return addin_of_machine(*registry); }, registry_hanging});
    checks.push_back({"addin-user", [registry] { return addin_of_user(*registry); }, registry_hanging});
    checks.push_back({"addin-disabled", [registry] { return disabled_lists(*registry); }, registry_hanging});
    checks.push_back({"addin-policy", [registry] { return addin_policy(*registry); }, registry_hanging});
    checks.push_back({"addin-module", [registry, files, version] { return addin_module(*registry, *files, version); },
                      "The drive of the module does not answer."});
    checks.push_back({"client-bitness", [registry, files] { return client_bitness(*registry, *files); },
                      "The drive of the mail client does not answer."});
    checks.push_back({"hardened", [registry] { return hardened_mode(*registry); }, registry_hanging});
}

} // namespace

void add_machine_options(CLI::App& app, doctor_options& options)
{
    app.add_option("--service", options.service_name, "Name of the service in the service manager")
        ->type_name("NAME")
        ->capture_default_str();
}

machine this_machine(const doctor_options& options, const std::string& version)
{
    machine made;
    add_addin_checks(made.checks, version);
    const broker_answer answer = ask_in_time(options.timeout());
    if (answer.settings) {
        made.port = static_cast<std::uint16_t>(answer.settings->ServerPort.Effective());
        made.uri = winapi::conv_to_char(answer.settings->Uri.Effective(), winapi::code_page_utf8);
    }
    made.checks.push_back({"broker", [answer] { return broker_row(answer); }, {}});
    made.checks.push_back({"settings", [answer] { return settings_row(answer); }, {}});
    made.checks.push_back({"service",
                           [name = options.service_name] {
                               system_service_manager manager;
                               return manager_row(manager, name);
                           },
                           "Restart the machine: its service manager does not answer."});
    made.ports = std::make_shared<system_port_table>();
    return made;
}

} // namespace doctor
