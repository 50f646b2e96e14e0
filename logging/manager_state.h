#pragma once

#include "logging/configuration.h"
#include "logging/logging.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace logging {

/// The destinations of lines. A record in force never changes: a change makes a new record, so that a line in flight
/// keeps the record that it began with.
struct routes
{
    struct added_sink
    {
        std::shared_ptr<line_sink> sink;
        priority::level_type threshold = 0;
    };
    struct configured_sink
    {
        sink_target target;
        std::shared_ptr<line_sink> sink;
    };

    std::vector<added_sink> added;
    std::vector<configured_sink> configured;
    thresholds configured_levels;

    /// Returns the highest level of this logger that any sink keeps, 0 for none.
    [[nodiscard]] priority::level_type threshold_of(std::string_view logger_name) const;
    /// Returns the highest level of any logger that any sink keeps, 0 for none.
    [[nodiscard]] priority::level_type highest_threshold() const;
    /// Passes the line to each sink that keeps it; a sink that throws is skipped.
    void deliver(priority::level_type level, std::string_view logger_name, std::string_view text) const noexcept;
};

/// The state of log_manager.
struct log_manager::state
{
    std::mutex change_lock; ///< held during a whole change; locked before `lock`
    std::mutex lock;        ///< guards the fields below
    std::map<std::string, std::unique_ptr<logger>, std::less<>> loggers;
    std::shared_ptr<const routes> current = std::make_shared<const routes>();

    [[nodiscard]] std::shared_ptr<const routes> current_routes();
    /// Puts new routes in force and updates the thresholds of all loggers and enabled_.
    void install(std::shared_ptr<const routes> next);
};

} // namespace logging
