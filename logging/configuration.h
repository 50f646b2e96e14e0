#pragma once

#include "logging/logging.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace logging {

/// Levels by logger.
struct thresholds
{
    priority::level_type general = 0;
    std::map<std::string, priority::level_type, std::less<>> by_logger;

    [[nodiscard]] priority::level_type of(std::string_view logger_name) const;
    [[nodiscard]] priority::level_type highest() const;
    friend bool operator==(const thresholds&, const thresholds&) = default;
};

/// A file that is replaced by a new one when it has reached its size.
struct file_target
{
    static constexpr std::size_t default_size = 10U * 1024U * 1024U;
    static constexpr std::size_t default_count = 5;

    std::wstring path;
    std::size_t size = default_size;   ///< bytes
    std::size_t count = default_count; ///< older files kept beside the current one
    friend bool operator==(const file_target&, const file_target&) = default;
};

/// The standard error stream.
struct stderr_target
{
    friend bool operator==(const stderr_target&, const stderr_target&) = default;
};

/// A debugger that is attached to this process.
struct debugger_target
{
    friend bool operator==(const debugger_target&, const debugger_target&) = default;
};

using sink_target = std::variant<file_target, stderr_target, debugger_target>;

/// A parsed configuration text.
struct configuration
{
    static constexpr priority::level_type default_level = priority::course;

    thresholds levels;
    std::vector<sink_target> targets;
    friend bool operator==(const configuration&, const configuration&) = default;
};

/// Reads a configuration text. Throws std::invalid_argument that names the invalid part.
[[nodiscard]] configuration parse_configuration(std::wstring_view text);

} // namespace logging
