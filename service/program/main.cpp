#include "service/command_line.h"
#include "service/configuration/configuration.h"
#include "service/configuration/reloader.h"
#include "service/descriptors.h"
#include "service/kept_memory.h"
#include "service/log.h"
#include "service/presence/hold_presence.h"
#include "service/reload_signal.h"
#include "service/scan_server.h"
#include "service/scoped_output.h"

#include <CLI/CLI.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <functional>
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
    // Each scan may need a socket of its engine.
    const std::size_t limit = service::raise_descriptor_limit();
    const std::size_t descriptors = limit - std::min(limit, settings.scan_threads);
    const std::size_t possible = service::connections_with(descriptors);
    if (possible < settings.max_connections) {
        LOG_LINE(service::service_log(), logging::priority::decision,
                 "the system allows descriptors for " << possible << " connections only");
        settings.max_connections = possible;
    }
    settings.body_files = service::body_files_with(descriptors, settings.max_connections);
}

/// Calls `reload` for each signal that asks for it, and returns from the wait at any other.
void await_signals(boost::asio::signal_set& awaited, const std::function<void()>& reload)
{
    awaited.async_wait([&awaited, &reload](const boost::system::error_code& error, int signal) {
        if (!error && signal == service::reload_signal()) {
            reload();
            await_signals(awaited, reload);
        }
    });
}

/// Serves until a signal arrives.
void serve(const service::configuration_reader& reader, const service::configuration& read)
{
    service::server_options settings = read.values.server;
    auto log =
        std::make_unique<logging::scoped_output>(read.values.log_file, service::effective_log_level(read.values));
    limit_connections(settings);
    service::keep_in_memory(read.values.memory_body);
    const auto presence = read.values.hold_presence ? presence::hold_presence() : nullptr;
    service::scan_server server(settings);
    service::reloader reloader(reader, read, limit_connections, server, log);
    boost::asio::io_context signals;
    boost::asio::signal_set awaited(signals, SIGINT, SIGTERM);
    if (const auto reload = service::reload_signal()) {
        awaited.add(*reload);
    }
    const std::function<void()> reload = [&reloader] { reloader.reload(); };
    await_signals(awaited, reload);
    server.start();
    std::cout << "listening on 127.0.0.1:" << server.port() << std::endl; // the parent process waits for this line
    if (settings.metrics_port) {
        std::cout << "metrics on 127.0.0.1:" << server.metrics_port() << std::endl;
    }
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
        if (values.check_config || values.print_config) {
            return look_at(read);
        }
        serve(reader, read);
        return 0;
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
