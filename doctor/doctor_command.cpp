#include "doctor/doctor_command.h"

#include "command/help_layout.h"
#include "command/nearest_name.h"
#include "desk/run/output_check.h"
#include "doctor/engine_row.h"
#include "doctor/icap_scanner.h"
#include "doctor/machine.h"
#include "doctor/port_row.h"
#include "doctor/report.h"
#include "doctor/scan_rows.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <ctime>
#include <exception>
#include <stdexcept>

namespace doctor {

namespace {

constexpr const char* introduction =
    R"(Each row is ok, warning, failed or not applicable; a row with a fault says
what to do. The rows of the service send a harmless text and the standard
antivirus test file over ICAP, as the mail add-in does.)";

constexpr const char* statuses = R"(Exit status: 0 all ok, 1 a warning, 2 a row failed, 3 nothing was examined,
such as after an invalid command line.)";

void add_options(CLI::App& app, doctor_options& options)
{
    app.add_option("--host", options.host, "Loopback address of the service")->type_name("HOST")->capture_default_str();
    app.add_option("--port", options.port, "Its port, by default that of the settings or 1345")
        ->check(CLI::Range(1, 65535).description(""))
        ->type_name("PORT");
    app.add_option("--uri", options.uri, "Its path, by default of the settings or webscan")->type_name("PATH");
    app.add_option("--metrics-port", options.metrics_port, "Port of its metrics, for the engines")
        ->check(CLI::Range(1, 65535).description(""))
        ->type_name("PORT");
    app.add_option("--timeout", options.timeout_ms, "Longest time of each step, in milliseconds")
        ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{600000}).description(""))
        ->type_name("MS")
        ->capture_default_str();
    app.add_option("--signature-days", options.signature_days, "Signatures older than this are a warning")
        ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{3650}).description(""))
        ->type_name("DAYS")
        ->capture_default_str();
    app.add_option("--slow", options.slow_ms, "A verdict that takes this long is a warning")
        ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{600000}).description(""))
        ->type_name("MS")
        ->capture_default_str();
    app.add_option("--only", options.only, "Examine these rows only, separated by commas")
        ->delimiter(',')
        ->type_name("ROWS");
    app.add_flag("--json", options.json, "Print one JSON object");
    add_machine_options(app, options);
}

finding engines(const std::shared_ptr<scan_rows>& scans, const endpoint& metrics, const doctor_options& options)
{
    if (metrics.port == 0) {
        return scans->engines();
    }
    std::string page;
    try {
        page = http_get(metrics, "/metrics", options.timeout());
        return engines_by_metrics(engines_in(page), std::time(nullptr), options.signature_days);
    } catch (const std::exception& failure) {
        return failed("metrics on " + text_of(metrics) + ": " + failure.what(),
                      "Start the service with the option --metrics-port, and specify the same port here.");
    }
}

/// Appends the rows of the service.
void add_service_checks(std::vector<check>& checks, const machine& here, const doctor_options& options)
{
    const std::string address = loopback_address(options.host);
    const endpoint peer{address, options.port.value_or(here.port)};
    const endpoint metrics{address, options.metrics_port.value_or(0)};
    const auto client = std::make_shared<icap_scanner>(peer, options.uri.value_or(here.uri), options.timeout());
    const auto scans = std::make_shared<scan_rows>(client, std::chrono::milliseconds(options.slow_ms));
    const char* const hanging = "Restart the scanning service: it accepts connections and gives no answer. The mail "
                                "client waits for it just so.";
    checks.push_back({"port",
                      [peer, ports = here.ports, longest = options.timeout()] {
                          return port_row(peer, refusal_of(peer, longest), *ports);
                      },
                      hanging});
    checks.push_back({"options", [scans] { return scans->options(); }, hanging});
    checks.push_back({"clean-object", [scans] { return scans->clean_object(); }, hanging});
    checks.push_back({"test-object", [scans] { return scans->test_object(); }, hanging});
    checks.push_back({"verdict-time", [scans] { return scans->verdict_time(); }, hanging});
    checks.push_back({"engines", [scans, metrics, options] { return engines(scans, metrics, options); }, hanging});
}

int complain(const host::console& where, const std::string& why)
{
    host::report(where, "command line", why + "; --help shows the options");
    return status_unknown;
}

int examine_machine(const doctor_options& options, const std::string& version, const host::console& where)
{
    machine here = this_machine(options, version);
    std::vector<check> checks = here.checks;
    add_service_checks(checks, here, options);
    const std::vector<row> rows = examine(chosen(checks, options.only), options.timeout());
    where.out << (options.json ? json_text(rows) : table_text(rows, where.width));
    host::flush_output(where);
    return status_of(rows);
}

int run_unguarded(const std::vector<std::string>& arguments, const std::string& name, const std::string& version,
                  const host::console& where)
{
    CLI::App app("Examines whether this machine is protected.", name);
    doctor_options options;
    app.set_version_flag("--version", name + " " + version, "Print the version and end");
    app.set_help_flag("--help,-h", "Print this help and end");
    app.formatter(command::help_layout());
    app.footer(introduction + std::string("\n\nExamples:\n  ") + name + "\n  " + name + " --port 1345 --json\n\n" +
               statuses);
    add_options(app, options);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::Success& printed) { // help and version
        app.exit(printed, where.out, where.err);
        host::flush_output(where);
        return status_ok;
    } catch (const CLI::ParseError& problem) {
        return complain(where, command::reason_for_display(app, problem));
    }
    try {
        return examine_machine(options, version, where);
    } catch (const std::invalid_argument& problem) {
        return complain(where, problem.what());
    }
}

} // namespace

int run(const std::vector<std::string>& arguments, const std::string& name, const std::string& version,
        const host::console& where)
{
    try {
        return run_unguarded(arguments, name, version, where);
    } catch (const host::output_failure& failure) {
        host::report_output_failure(where, failure);
        return status_unknown;
    } catch (const std::exception& failure) {
        host::report(where, "failed", failure.what());
        return status_unknown;
    }
}

} // namespace doctor
