#pragma once

#include "desk/run/console.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host {

/// Returns the report of a run that was stopped: "stopped after 12 of 5000 messages", without the total if it is
/// unknown.
inline std::string stop_text(std::uint64_t done, std::optional<std::uint64_t> total, std::string_view objects)
{
    std::string text = "stopped after " + std::to_string(done) + " ";
    return text.append(total ? "of " + std::to_string(*total) + " " : "").append(objects);
}

/// Writes that report to standard error.
inline void report_stop(const console& where, std::uint64_t done, std::optional<std::uint64_t> total,
                        std::string_view objects)
{
    where.err << where.program << ": " << stop_text(done, total, objects) << std::endl;
}

} // namespace host
