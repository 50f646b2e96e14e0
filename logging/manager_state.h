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

/// Where lines go. Never changed once it is in force: a change makes a new record, so that a line in flight keeps
/// the record that it began with.
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

    /// The highest level of this logger that any sink keeps, 0 for none.
    [[nodiscard]] priority::level_type threshold_of(std::string_view logger_name) const;
    /// The highest level of any logger that any sink keeps, 0 for none.
    [[nodiscard]] priority::level_type highest_threshold() const;
    /// Hands the line to each sink that keeps it; a sink that raises is passed over.
    void deliver(priority::level_type level, std::string_view logger_name, std::string_view text) const noexcept;
};

/// What log_manager holds.
struct log_manager::state
{
    std::mutex change_lock; ///< held over a whole change; taken before `lock`
    std::mutex lock;        ///< guards the fields below
    std::map<std::string, std::unique_ptr<logger>, std::less<>> loggers;
    std::shared_ptr<const routes> current = std::make_shared<const routes>();

    [[nodiscard]] std::shared_ptr<const routes> current_routes();
    /// Puts new routes in force: the thresholds of all loggers and enabled_ follow.
    void install(std::shared_ptr<const routes> next);
};

} // namespace logging
