#pragma once

#include <string>
#include <string_view>

namespace host {

/// Text in a character set as UTF-8. What the set cannot explain becomes U+FFFD. An unknown or empty name is read as
/// UTF-8 if the bytes are that, else as Windows-1252.
std::string to_utf8(std::string_view text, const std::string& charset);

/// UTF-8 as wide text, invalid bytes as U+FFFD; null reads as empty.
std::wstring to_wide(const char* utf8);
std::wstring to_wide(std::string_view utf8);

} // namespace host
