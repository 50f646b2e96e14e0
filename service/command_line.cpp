#include "service/command_line.h"

#include "command/help_layout.h"
#include "command/nearest_name.h"
#include "service/log.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace service {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t most_connections = 1000000;
constexpr std::size_t most_io_threads = 64;
constexpr std::size_t most_scan_threads = 1024;
constexpr std::uint64_t most_bytes = std::uint64_t{1} << 40U;
constexpr std::uint64_t most_memory_body = std::uint64_t{1} << 30U;
constexpr milliseconds usual_probe_interval{30000};
constexpr std::size_t usual_cache_entries = 65536;
constexpr std::size_t most_cache_entries = std::size_t{1} << 24U;
constexpr std::uint32_t most_rate = 1U << 30U;
constexpr double least_time = 0.001;
constexpr double most_time = 86400;

constexpr const char* footer =
    R"(Engines:
  builtin               knows the standard antivirus test file and a repairable
                        test text
  clamd:unix:PATH       a clamd daemon by its socket (not on Windows)
  clamd:tcp:HOST:PORT   a clamd daemon on this machine
  icap://HOST:PORT/SERVICE
                        a service of an ICAP server, also on another machine;
                        the port is 1344 if it is missing. The connection is not
                        encrypted

With --hold-presence it also shows that it runs, as the product's service does: the mail add-in sees that and stops
asking the product for settings. Needs the local system's account on Windows; elsewhere root shows it to everyone, in
/run/postwarden, and a user to his own programs, below XDG_RUNTIME_DIR.

Each option from --port on may also come from the environment (POSTWARDEN_SERVICE_ and the option in upper case, with _
for -) or from the file of --config ("port = 1345", "uri = webscan"). The command line takes precedence over the
environment, and that over the file.

On Windows, the first argument may be install, start, stop, reload or remove, which manage the program as a service of
the system, or run, which serves on the console as without it; see docs/service.md.

Listens on 127.0.0.1 only. SIGTERM or SIGINT ends it; SIGHUP makes it read its options again. Exit status: 0 ended by a
signal, 1 could not run, 2 the command line, the environment or the file is wrong.)";

/// Accepts numbers, unlike CLI::Range not also what is none ("nan").
std::string problem_with_time(const std::string& text)
{
    double seconds = 0;
    return CLI::detail::lexical_cast(text, seconds) && !std::isnan(seconds) ? "" : "'" + text + "' is no time";
}

/// A time in seconds, of at least `least`.
void add_time(CLI::App& app, const char* name, milliseconds& target, double least, const char* help)
{
    app.add_option_function<double>(
           name,
           [&target](double seconds) { target = milliseconds(std::llround(seconds * milliseconds::period::den)); },
           help)
        ->type_name("SECONDS")
        ->check(CLI::Range(least, most_time))
        ->check(problem_with_time)
        ->default_str(CLI::detail::to_string(static_cast<double>(target.count()) / milliseconds::period::den));
}

template <typename Number>
void add_number(CLI::App& app, const char* name, Number& target, Number least, Number most, const char* help)
{
    app.add_option(name, target, help)->type_name("N")->check(CLI::Range(least, most))->capture_default_str();
}

void add_service_options(CLI::App& app, server_options& server)
{
    app.add_option("--port", server.port, "Port on 127.0.0.1; 0 takes any free one and prints it")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--metrics-port", server.metrics_port,
                   "Port on 127.0.0.1 for the metrics, see docs/service.md; 0 takes any free one and prints it")
        ->type_name("N");
    app.add_option("--uri", server.uri, "Path of the service")->type_name("TEXT")->capture_default_str();
    add_number<std::uint32_t>(app, "--preview", server.preview, 0, server.max_preview,
                              "Bytes of an object that clients are asked to send ahead");
    app.add_option("--engine", server.engines,
                   "Judge of the objects, see below. May be given several times: each judges every object. Several "
                   "with commas between them: the next one judges if one fails")
        ->type_name("ENGINE")
        ->allow_extra_args(false)
        ->capture_default_str();
    add_number<std::size_t>(app, "--clamd-streams", server.clamd_streams, 0, most_scan_threads,
                            "Objects that one clamd judges at a time; 0 for any number. Others wait");
}

void add_limits(CLI::App& app, command_line& values)
{
    server_options& server = values.server;
    add_number<std::size_t>(app, "--max-connections", server.max_connections, 1, most_connections,
                            "Open connections; a further one takes the place of the one that has been idle longest. "
                            "Fewer where the system allows fewer descriptors: two are needed for each");
    add_number<std::uint64_t>(app, "--max-body", server.max_body, 1, most_bytes,
                              "Bytes of one object; a larger one is refused");
    add_number<std::uint64_t>(app, "--memory-body", values.memory_body, 0, most_memory_body,
                              "Bytes up to which an object is kept in memory; a larger one, or one of unknown size, is "
                              "kept in a temporary file");
    add_number<std::uint64_t>(app, "--body-budget", server.body_budget, 1, most_bytes,
                              "Bytes of all objects kept at a time; a request that exceeds them is answered with 503");
    add_number<std::size_t>(app, "--io-threads", server.io_threads, 1, most_io_threads, "Threads that serve sockets");
    add_number<std::size_t>(app, "--scan-threads", server.scan_threads, 1, most_scan_threads,
                            "Objects judged at a time; others wait in the order of their requests");
    add_number<std::size_t>(app, "--cache-entries", server.cache_entries, 0, most_cache_entries,
                            "Verdicts kept, so that the engine is not asked about the same object again; 0 for none");
}

void add_times(CLI::App& app, server_options& server)
{
    add_time(app, "--idle-timeout", server.idle_timeout, 0,
             "A connection without a request is closed after this time; 0 keeps it open");
    add_time(app, "--stall-timeout", server.stall_timeout, least_time,
             "A peer that sends or takes nothing for this time within a request is disconnected");
    add_time(app, "--head-timeout", server.head_timeout, least_time,
             "A peer whose heads of a request take longer is disconnected");
    add_number<std::uint32_t>(app, "--min-rate", server.min_rate, 0, most_rate,
                              "Bytes of a body that a peer must send each second; 0 for any number");
    add_time(app, "--rate-period", server.rate_period, least_time, "The time over which that rate is averaged");
    add_time(app, "--scan-timeout", server.scan_timeout, least_time,
             "An object without a verdict after this time is answered with an error");
    add_time(app, "--probe-interval", server.probe_interval, 0,
             "Time between probes of the engine; 0 probes it only when a client asks for the options or the health");
    add_time(app, "--leave-timeout", server.leave_timeout, least_time,
             "A peer that has ended its sending without a verdict counts as gone if it takes nothing after this time");
    add_time(app, "--linger-timeout", server.linger_timeout, 0,
             "A peer may go on sending for this time after the last answer of its connection");
}

void add_treatment(CLI::App& app, const char* name, treatment& target, const char* help)
{
    app.add_option_function<std::string>(
           name, [&target](const std::string& text) { target = text == "block" ? treatment::block : treatment::pass; },
           help)
        ->type_name("pass|block")
        ->check(CLI::IsMember({"pass", "block"}))
        ->default_str(target == treatment::block ? "block" : "pass");
}

void add_policies(CLI::App& app, server_options& server)
{
    add_treatment(app, "--when-unreachable", server.policy.unreachable,
                  "An object that no engine could judge, or not in time: pass it, or replace it by a notice");
    add_treatment(app, "--when-unchecked", server.policy.unchecked,
                  "An object that the engine cannot look into, or a larger one than --max-body: pass it, or replace it "
                  "by a notice");
}

void add_patterns(CLI::App& app, const char* name, std::vector<std::string>& target, const char* help)
{
    app.add_option(name, target, help)->type_name("PATTERN")->take_all()->allow_extra_args(false);
}

void add_lists(CLI::App& app, list_options& lists)
{
    add_patterns(app, "--ignore-threat", lists.ignored_threats,
                 "An object in which the engine finds such a threat counts as clean; may be repeated. In all patterns "
                 "'*' is any text and '?' any character, and case does not matter");
    add_patterns(app, "--block-name", lists.forbidden_names,
                 "Withhold attachments and files with such a name without asking an engine; may be repeated");
    add_patterns(app, "--block-type", lists.forbidden_types,
                 "The same for a MIME type, such as application/x-msdownload");
}

void add_notice(CLI::App& app, server_options& server)
{
    app.add_option("--notice", server.notice_file, "Template of the page in place of an object that is withheld")
        ->type_name("FILE");
    app.add_option_function<std::string>(
           "--notice-language",
           [&server](const std::string& text) {
               server.language = text == "de" ? notice_language::german : notice_language::english;
           },
           "Language of its texts")
        ->type_name("en|de")
        ->check(CLI::IsMember({"en", "de"}))
        ->default_str(server.language == notice_language::german ? "de" : "en");
}

void add_log_options(CLI::App& app, command_line& values)
{
    constexpr std::uint32_t most_level = 600;
    app.add_option("--log", values.log_file, "Write the log to a file")->type_name("FILE");
    app.add_option("--log-level", values.log_level,
                   "Lines up to this level: 200 errors, 300 decisions, 400 course (default with --log), 500 detail; "
                   "without --log they go to standard error, by default those up to 200")
        ->type_name("N")
        ->check(CLI::Range(std::uint32_t{0}, most_level));
}

/// Options of the command line only. The file may also come from the environment.
void add_configuration_options(CLI::App& app, command_line& values)
{
    app.add_option("--config", values.config_file, "Read further options from a file")
        ->type_name("FILE")
        ->configurable(false);
    app.add_flag("--check-config", values.check_config, "Only verify all options")->configurable(false);
    app.add_flag("--print-config", values.print_config,
                 "Only print all options and where they come from, in the form of a file")
        ->configurable(false);
}

} // namespace

std::uint32_t effective_log_level(const command_line& values)
{
    return values.log_level.value_or(values.log_file.empty() ? logging::priority::error : logging::priority::course);
}

void add_options(CLI::App& app, command_line& values)
{
    values.server.probe_interval = usual_probe_interval;
    values.server.cache_entries = usual_cache_entries;
    app.formatter(command::help_layout());
    app.set_help_flag("--help,-h", "Print this help and end");
    add_configuration_options(app, values);
    add_service_options(app, values.server);
    add_limits(app, values);
    add_times(app, values.server);
    add_policies(app, values.server);
    add_lists(app, values.server.lists);
    add_notice(app, values.server);
    add_log_options(app, values);
    app.add_flag("--hold-presence", values.hold_presence, "Show that the service runs, see below");
    app.footer(footer);
}

void parse_arguments(CLI::App& app, std::vector<std::string> arguments)
{
    std::reverse(arguments.begin(), arguments.end()); // as this function of the library wants them
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::Success&) { // help and version
        throw;
    } catch (const CLI::ParseError& problem) {
        throw CLI::ParseError(command::reason_for_display(app, problem), problem.get_exit_code());
    }
}

} // namespace service
