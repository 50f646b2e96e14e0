#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The steps of get_infection_param.
namespace icap::detail {

/// The parts of `text` between any of the separators. Neighbouring separators give empty parts; an empty text is one
/// empty part.
[[nodiscard]] std::vector<std::string> split(std::string_view text, std::string_view separators);

/// The value of the first token "key=value" with that key; empty when there is none. `header` and `value` are what the
/// tokens come from, for the log.
[[nodiscard]] std::string pick_infection_value(const std::vector<std::string>& tokens, std::string_view header,
                                               std::string_view value, std::string_view key);

} // namespace icap::detail
