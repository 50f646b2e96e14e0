#pragma once

#include <optional>

namespace service {

/// Returns the number of the signal that makes the program read its configuration again; nothing if the system has
/// none.
[[nodiscard]] std::optional<int> reload_signal();

} // namespace service
