#pragma once

#include "logging/logging.h"

#include <memory>
#include <string_view>

/// Lines for the journal of systemd, which takes the priority of a line from "<N>" at its beginning.
namespace service {

/// Returns true if the standard error of this process is a stream of the journal, that is if the environment variable
/// JOURNAL_STREAM contains its device and inode. Always false on Windows.
[[nodiscard]] bool standard_error_is_journal();

/// Returns "<3>" for lines up to priority::error, "<5>" up to decision, "<6>" up to course, and "<7>" for others.
[[nodiscard]] std::string_view journal_prefix(logging::priority::level_type level);

/// Returns a sink that writes to standard error, each line with its prefix and without a time, which the journal adds.
/// Returns nothing on Windows.
[[nodiscard]] std::shared_ptr<logging::line_sink> open_journal_sink();

} // namespace service
