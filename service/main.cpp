#include "service/presence/hold_presence.h"
#include "service/scan_server.h"
#include "service/scoped_output.h"

#include <CLI/CLI.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace {

constexpr int usage_error = 2;
constexpr int run_error = 1;

constexpr const char* footer =
    R"(Engines:
  builtin               knows the standard antivirus test file and a repairable test text
  clamd:unix:PATH       a clamd daemon by its socket (not on Windows)
  clamd:tcp:HOST:PORT   a clamd daemon on this machine

With --hold-presence it also shows that it runs, as the product's service does: the mail add-in sees that and stops
asking the product for settings. Needs the local system's account on Windows; elsewhere root shows it to everyone, in
/run/postwarden, and a user to his own programs, below XDG_RUNTIME_DIR.

Listens on 127.0.0.1 only. SIGTERM or SIGINT ends it. Exit status: 0 ended by a signal, 1 could not run, 2 the
command line is wrong.)";

int complain(const std::string& what, int status)
{
    std::cerr << "postwarden-service: " << what << '\n';
    return status;
}

/// Serves until a signal arrives.
void serve(const service::server_options& settings, bool show_presence)
{
    const auto presence = show_presence ? presence::hold_presence() : nullptr;
    service::scan_server server(settings);
    boost::asio::io_context signals;
    boost::asio::signal_set awaited(signals, SIGINT, SIGTERM);
    awaited.async_wait([](const boost::system::error_code&, int) {});
    server.start();
    std::cout << "listening on 127.0.0.1:" << server.port() << std::endl; // the parent process waits for this line
    signals.run();
    server.stop();
}

} // namespace

int main(int count, char** arguments)
{
    CLI::App app("A local ICAP/1.0 scanning service for postwarden.", "postwarden-service");
    service::server_options settings;
    std::string log_file;
    std::optional<std::uint32_t> log_level;
    bool show_presence = false;
    app.add_option("--port", settings.port, "Port on 127.0.0.1; 0 takes any free one and prints it")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--uri", settings.uri, "Path of the service")->type_name("TEXT")->capture_default_str();
    app.add_option("--preview", settings.preview, "Bytes of an object that clients are asked to send ahead")
        ->type_name("N")
        ->check(CLI::Range(std::uint32_t{0}, settings.max_preview))
        ->capture_default_str();
    app.add_option("--engine", settings.engine, "Judge of the objects, see below")
        ->type_name("ENGINE")
        ->capture_default_str();
    app.add_option("--log", log_file, "Write the log to a file")->type_name("FILE");
    app.add_option("--log-level", log_level,
                   "Lines up to this level: 200 errors, 300 decisions, 400 course (default), 500 detail; without --log "
                   "they go to standard error")
        ->type_name("N")
        ->check(CLI::Range(0U, 600U));
    app.add_flag("--hold-presence", show_presence, "Show that the service runs, see below");
    app.set_version_flag("--version", "postwarden-service " POSTWARDEN_VERSION);
    app.footer(footer);
    try {
        app.parse(count, arguments);
    } catch (const CLI::ParseError& problem) {
        if (problem.get_exit_code() == 0) {
            return app.exit(problem);
        }
        return complain(std::string(problem.what()) + " (--help tells the options)", usage_error);
    }
    try {
        const logging::scoped_output log(log_file, log_level);
        serve(settings, show_presence);
        return 0;
    } catch (const std::invalid_argument& problem) {
        return complain(problem.what(), usage_error);
    } catch (const std::exception& problem) {
        return complain(problem.what(), run_error);
    }
}
