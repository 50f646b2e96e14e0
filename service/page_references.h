#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// A place where an HTML page would load something, or run a script.
struct page_reference
{
    std::size_t line = 0; ///< counted from 1
    std::string what;     ///< the element, attribute or function
};

/// Returns the first place at which a page would load a resource that is not part of it, run a script, or leave for
/// another page without a click; nullopt if there is none. Meant for pages of an administrator who makes mistakes, not
/// for pages of an attacker.
[[nodiscard]] std::optional<page_reference> outside_reference(std::string_view page);

} // namespace service
