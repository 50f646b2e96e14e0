#pragma once

#include "logging/configuration.h"
#include "logging/logging.h"

#include <memory>
#include <string>

namespace logging {

/// Opens the destination that a configuration names. Returns nothing for a destination that this system does not
/// have, so that nobody builds lines for it; raises an exception derived from std::exception if it cannot be opened.
[[nodiscard]] std::shared_ptr<line_sink> open_sink(const sink_target& target);

/// What the message of a failed opening calls the destination.
[[nodiscard]] std::string target_text(const sink_target& target);

/// A line as it is written behind its time: level, logger, thread, text. Control characters but the tab are shown
/// as \n, \r or \xNN, so that one line of the log is one line of the file whatever a message brings with it.
[[nodiscard]] std::string written_line(priority::level_type level, std::string_view logger_name, std::uint64_t thread,
                                       std::string_view text);

namespace detail {
/// The debugger's sink, nothing where there is no such channel.
[[nodiscard]] std::shared_ptr<line_sink> open_debugger_sink();
} // namespace detail

} // namespace logging
