#include "service/program/serving.h"

#include "service/configuration/reloader.h"
#include "service/descriptors.h"
#include "service/kept_memory.h"
#include "service/log.h"
#include "service/presence/hold_presence.h"
#include "service/scoped_output.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <stdexcept>

namespace service {

namespace {

/// A connection without a descriptor could be neither accepted nor refused.
void limit_connections(server_options& settings)
{
    // Each scan may need a socket of its engine.
    const std::size_t limit = raise_descriptor_limit();
    const std::size_t descriptors = limit - std::min(limit, settings.scan_threads);
    const std::size_t possible = connections_with(descriptors);
    if (possible < settings.max_connections) {
        LOG_LINE(service_log(), logging::priority::decision,
                 "the system allows descriptors for " << possible << " connections only");
        settings.max_connections = possible;
    }
    settings.body_files = body_files_with(descriptors, settings.max_connections);
}

} // namespace

void serve(const configuration_reader& reader, const configuration& read, supervisor& by)
{
    server_options settings = read.values.server;
    settings.listener = by.listener();
    auto log = std::make_unique<logging::scoped_output>(read.values.log_file, effective_log_level(read.values));
    limit_connections(settings);
    keep_in_memory(read.values.memory_body);
    const auto presence = read.values.hold_presence ? presence::hold_presence() : nullptr;
    scan_server server(settings);
    reloader again(reader, read, limit_connections, server, log);
    server.start();
    by.listening(server, settings);
    by.wait([&again] { return again.reload(); });
    by.stopping();
    server.stop();
}

std::optional<run_failure> failure_of_run(const std::function<void()>& action)
{
    try {
        action();
        return std::nullopt;
    } catch (const CLI::Success&) {
        return run_failure{usage_error, {"a service has nobody to show the options to"}};
    } catch (const CLI::ParseError& problem) {
        return run_failure{usage_error, {std::string(problem.what()) + " (--help shows the options)"}};
    } catch (const configuration_error& wrong) {
        return run_failure{usage_error, wrong.problems()};
    } catch (const std::invalid_argument& problem) {
        return run_failure{usage_error, {problem.what()}};
    } catch (const std::exception& problem) {
        return run_failure{run_error, {problem.what()}};
    }
}

} // namespace service
