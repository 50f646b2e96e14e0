#include "service/command_line.h"
#include "service/configuration/configuration.h"
#include "service/descriptors.h"
#include "service/kept_memory.h"
#include "service/log.h"
#include "service/presence/hold_presence.h"
#include "service/scan_server.h"
#include "service/scoped_output.h"

#include <CLI/CLI.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <cstddef>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int usage_error = 2;
constexpr int run_error = 1;

int complain(const std::string& what, int status)
{
    std::cerr << "postwarden-service: " << what << '\n';
    return status;
}

/// A connection without a descriptor could be neither accepted nor refused.
void limit_connections(service::server_options& settings)
{
    const std::size_t possible = service::connections_with(service::raise_descriptor_limit());
    if (possible < settings.max_connections) {
        LOG_LINE(service::service_log(), logging::priority::decision,
                 "the system allows descriptors for " << possible << " connections only");
        settings.max_connections = possible;
    }
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

namespace {

/// Prints what the options that only look at the configuration ask for. Returns the exit status.
int look_at(const service::configuration& read)
{
    if (!read.values.check_config) {
        std::cout << service::printed(read);
        return 0;
    }
    const std::vector<std::string> problems = service::check(read.values);
    for (const std::string& problem : problems) {
        (void)complain(problem, usage_error);
    }
    if (!problems.empty()) {
        return usage_error;
    }
    std::cout << "the configuration is valid\n";
    return 0;
}

int run(const service::configuration& read)
{
    service::command_line values = read.values;
    // A service that runs without any option says at least what goes wrong.
    const logging::scoped_output log(values.log_file, service::effective_log_level(values));
    limit_connections(values.server);
    service::keep_in_memory(values.memory_body);
    serve(values.server, values.hold_presence);
    return 0;
}

} // namespace

int main(int count, char** arguments)
{
    CLI::App app("A local ICAP/1.0 scanning service for postwarden.", "postwarden-service");
    service::command_line values;
    service::add_options(app, values);
    app.set_version_flag("--version", "postwarden-service " POSTWARDEN_VERSION);
    try {
        app.parse(count, arguments);
        const service::configuration_reader reader({arguments + 1, arguments + count}, service::variable_of_process);
        const service::configuration read = reader.read();
        return values.check_config || values.print_config ? look_at(read) : run(read);
    } catch (const CLI::ParseError& problem) {
        if (problem.get_exit_code() == 0) {
            return app.exit(problem);
        }
        return complain(std::string(problem.what()) + " (--help tells the options)", usage_error);
    } catch (const service::configuration_error& wrong) {
        for (const std::string& problem : wrong.problems()) {
            (void)complain(problem, usage_error);
        }
        return usage_error;
    } catch (const std::invalid_argument& problem) {
        return complain(problem.what(), usage_error);
    } catch (const std::exception& problem) {
        return complain(problem.what(), run_error);
    }
}
