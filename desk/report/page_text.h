#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Functions that make texts of a mail safe for an HTML page.
namespace host {

/// Which part of a text that is too long remains.
enum class kept_part
{
    beginning,
    end
};

/// Returns UTF-8 text for the contents of an element: special characters are escaped. Control characters, and
/// characters that have no width or change the direction of text, are shown by their number. Invalid bytes become
/// U+FFFD. A text of more than `longest` characters is cut where an ellipsis is shown.
[[nodiscard]] std::string page_text(std::string_view text, std::size_t longest = 300,
                                    kept_part kept = kept_part::beginning);

/// Returns page_text() in an element that isolates its direction from that of the surroundings.
[[nodiscard]] std::string isolated_text(std::string_view text, std::size_t longest = 300,
                                        kept_part kept = kept_part::beginning);

/// Returns the same for a text of several lines: line ends and tabs remain.
[[nodiscard]] std::string page_lines(std::string_view text);

/// Returns UTF-8 text for the value of an attribute in double quotes. Null characters and invalid bytes become U+FFFD.
[[nodiscard]] std::string attribute_text(std::string_view text);

/// Returns a number of bytes for display: "812 bytes", "1.2 KB", "35 MB".
[[nodiscard]] std::string size_text(std::uint64_t bytes);

/// Returns "1 image" or "2 images".
[[nodiscard]] std::string count_text(std::uint64_t count, std::string_view one, std::string_view several);

} // namespace host
