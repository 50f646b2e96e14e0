#pragma once

#include "logging/configuration.h"
#include "logging/logging.h"

#include <memory>
#include <string>

namespace logging {

/// Opens the destination that a configuration names. Returns nothing for a destination that this system does not have,
/// so that no lines are built for it. Throws an exception derived from std::exception if the destination cannot be
/// opened.
[[nodiscard]] std::shared_ptr<line_sink> open_sink(const sink_target& target);

/// Returns the name of the destination for error messages.
[[nodiscard]] std::string target_text(const sink_target& target);

/// Returns a line in the form in which it is written behind its time: level, logger, thread, text. Control characters
/// except the tab are shown as \n, \r or \xNN, so that one line of the log is always one line of the file.
[[nodiscard]] std::string written_line(priority::level_type level, std::string_view logger_name, std::uint64_t thread,
                                       std::string_view text);

namespace detail {
/// Returns the debugger's sink, or nothing on a system without such a channel.
[[nodiscard]] std::shared_ptr<line_sink> open_debugger_sink();
} // namespace detail

} // namespace logging
