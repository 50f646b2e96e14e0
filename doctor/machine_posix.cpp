#include "doctor/machine.h"
#include "doctor/port_owner_posix.h"
#include "doctor/program_run_posix.h"
#include "doctor/unit_manager_posix.h"
#include "tool/system/identity.h"

#include <filesystem>

namespace doctor {

namespace {

namespace fs = std::filesystem;

/// Returns the service's program: the one that was specified, the one beside this program or in the build folder beside
/// that of this program, otherwise the one in PATH.
std::string service_program(const doctor_options& options)
{
    if (!options.program.empty()) {
        return options.program;
    }
    const fs::path here = fs::path(winapi::current_process_path()).parent_path();
    for (const fs::path& place : {here / "postwarden-service", here.parent_path() / "service/postwarden-service"}) {
        std::error_code error;
        if (fs::is_regular_file(place, error)) {
            return place.string();
        }
    }
    return "postwarden-service";
}

finding configuration(const doctor_options& options)
{
    configuration_check done{options.config, fs::exists(options.config), 0, {}};
    if (done.exists) {
        const auto end =
            run_program({service_program(options), "--check-config", "--config", options.config}, options.timeout());
        done.status = end.status;
        done.output = end.output;
    }
    return configuration_row(done);
}

} // namespace

void add_machine_options(CLI::App& app, doctor_options& options)
{
    app.add_option("--config", options.config, "Configuration file of the service")
        ->type_name("FILE")
        ->capture_default_str();
    app.add_option("--service-program", options.program, "Program that verifies that file")->type_name("FILE");
}

machine this_machine(const doctor_options& options, const std::string& /*version*/)
{
    machine made;
    made.checks.push_back({"unit",
                           [options] {
                               systemctl_manager manager(options.timeout());
                               return unit_row(manager, options.service_name + ".service");
                           },
                           "Run systemctl status " + options.service_name + "."});
    made.checks.push_back({"configuration", [options] { return configuration(options); },
                           "Run postwarden-service --check-config --config " + options.config + "."});
    made.ports = std::make_shared<proc_port_table>();
    return made;
}

} // namespace doctor
