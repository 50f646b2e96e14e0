#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace service {

/// The blanks of a page.
inline constexpr std::string_view page_blanks = " \t\r\n\f";

/// Returns true if a tag begins here, also one whose name is the placeholder of a value.
[[nodiscard]] bool begins_tag(std::string_view text);

/// Returns the length of a tag with its ">", which may also be part of a value in quotes.
[[nodiscard]] std::size_t length_of_tag(std::string_view text);

/// An attribute of a tag, whose parts refer to the text of the tag.
struct tag_attribute
{
    std::string_view name;  ///< without a placeholder ahead of it
    std::string_view value; ///< without its quotes and the blanks around it; empty if there is none
    bool has_value = false;
};

/// Returns the attributes of a tag in their order.
[[nodiscard]] std::vector<tag_attribute> attributes_of(std::string_view tag);

} // namespace service
