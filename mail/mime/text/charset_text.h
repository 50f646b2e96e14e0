#pragma once

#include "store/bytes.h"

#include <functional>
#include <string>
#include <string_view>

namespace host {

/// Converts text in a character set to UTF-8. Bytes that are invalid in the set become U+FFFD. Text with an unknown or
/// empty character set name is read as UTF-8 if it is valid UTF-8, otherwise as Windows-1252.
std::string to_utf8(std::string_view text, const std::string& charset);

/// The same for a text of any size: passes the result on in pieces of whole characters.
void to_utf8(const bytes& text, const std::string& charset, const std::function<void(std::string_view)>& sink);

/// Converts the headers of a message, one field after the other, each to be read as to_utf8() reads a text without a
/// character set: the first invalid one does not decide about the others.
std::string headers_to_utf8(std::string_view headers);

/// Converts UTF-8 to wide text; invalid bytes become U+FFFD. Null yields an empty text.
std::wstring to_wide(const char* utf8);
std::wstring to_wide(std::string_view utf8);

} // namespace host
