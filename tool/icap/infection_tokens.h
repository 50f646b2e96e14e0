#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The steps of get_infection_param.
namespace icap::detail {

/// Returns the parts of `text` between any of the separators. Adjacent separators give empty parts; an empty text gives
/// one empty part.
[[nodiscard]] std::vector<std::string> split(std::string_view text, std::string_view separators);

/// Returns the value of the first token "key=value" with that key, or an empty string. `header` and `value` identify
/// the source of the tokens in the log.
[[nodiscard]] std::string pick_infection_value(const std::vector<std::string>& tokens, std::string_view header,
                                               std::string_view value, std::string_view key);

} // namespace icap::detail
