#pragma once

#include <string>
#include <string_view>

namespace host {

/// Returns the text of an exception or of a log line as a command prints it. A text with the source and the number of a
/// failed system call becomes the words for that number, "connection refused", and the texts of a session's failures
/// become sentences; all others remain as they are.
[[nodiscard]] std::string problem_words(std::string_view text);

} // namespace host
