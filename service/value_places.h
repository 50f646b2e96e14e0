#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// A placeholder in a template.
struct placed_value
{
    std::size_t line = 0; ///< counted from 1
    std::string placeholder;
};

/// Returns the first placeholder of a value that a sender may have chosen which is not part of the text of the page:
/// one within a tag, a comment or a style sheet, where escaping does not keep the value from changing the page. Returns
/// nullopt if there is none.
[[nodiscard]] std::optional<placed_value> value_in_markup(std::string_view page);

} // namespace service
