#pragma once

#include <string>
#include <string_view>

namespace host {

/// Converts text in a character set to UTF-8. Bytes that are invalid in the set become U+FFFD. Text with an unknown or
/// empty character set name is read as UTF-8 if it is valid UTF-8, otherwise as Windows-1252.
std::string to_utf8(std::string_view text, const std::string& charset);

/// Converts UTF-8 to wide text; invalid bytes become U+FFFD. Null yields an empty text.
std::wstring to_wide(const char* utf8);
std::wstring to_wide(std::string_view utf8);

} // namespace host
