#include "service/configuration/reloader.h"

#include "service/log.h"
#include "service/metrics/metrics.h"
#include "service/safe_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace service {

namespace {

constexpr std::array<std::string_view, 7> only_at_start{"port",       "metrics-port", "uri",          "memory-body",
                                                        "io-threads", "scan-threads", "hold-presence"};

std::string list_of(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names) {
        text.append(text.empty() ? "" : ", ").append(name);
    }
    return text;
}

std::optional<std::string> log_failure(scan_server& server, const std::string& why)
{
    server.metrics().reloads_rejected.add();
    LOG_LINE(service_log(), 200, "the configuration was not read again: " << display_text(why));
    return why;
}

} // namespace

reloader::reloader(configuration_reader reader, configuration current, adapter adapt, scan_server& server,
                   std::unique_ptr<logging::scoped_output>& log)
    : reader_(std::move(reader))
    , current_(std::move(current))
    , adapt_(std::move(adapt))
    , server_(server)
    , log_(log)
{}

std::optional<std::string> reloader::reload() noexcept
{
    try {
        return reload_or_raise();
    } catch (const std::exception& problem) {
        return log_failure(server_, problem.what());
    }
}

std::optional<std::string> reloader::reload_or_raise()
{
    configuration next = reader_.read();
    if (const auto problems = check(next.values); !problems.empty()) {
        return log_failure(server_, problems.front());
    }
    server_options settings = next.values.server;
    adapt_(settings);
    auto log = std::make_unique<logging::scoped_output>();
    log->open(next.values.log_file, effective_log_level(next.values));
    server_.reconfigure(std::move(settings));
    // Only now, because whatever fails ahead of this leaves the log as it is.
    log->begin();
    log_ = std::move(log);
    std::vector<std::string> changed = changed_options(current_, next);
    // What needs a restart is compared with the values in use, also the next time.
    std::vector<std::string> kept;
    for (std::size_t i = 0; i < next.settings.size(); ++i) {
        const std::string name = next.settings[i].name;
        const bool fixed = std::find(only_at_start.begin(), only_at_start.end(), name) != only_at_start.end();
        if (fixed && std::erase(changed, name) != 0) {
            kept.push_back(name);
            next.settings[i] = current_.settings[i]; // both have all options in the same order
        }
    }
    current_ = std::move(next);
    server_.metrics().reloads_applied.add();
    LOG_LINE(service_log(), 200,
             "the configuration was read again: " << (changed.empty() ? "nothing has changed" : list_of(changed)));
    if (!kept.empty()) {
        LOG_LINE(service_log(), 200, "a change of these options needs a restart: " << list_of(kept));
    }
    return std::nullopt;
}

} // namespace service
