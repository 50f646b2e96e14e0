#pragma once

#include <string>
#include <string_view>

/// UTF-8 for systems whose wide character is UTF-32.
namespace winapi::codec {

inline constexpr char32_t replacement_character = 0xFFFD;

/// Removes the next code point from the front of wide text and returns it. A surrogate pair counts as the one code
/// point that it encodes, because wide text may come from a UTF-16 source; any other value that is not a code point
/// becomes U+FFFD. The text must not be empty.
char32_t take_code_point(std::wstring_view& text) noexcept;

/// Removes the next code point from the front of UTF-8 text and returns it. An incomplete or invalid byte sequence
/// becomes one U+FFFD, up to the byte that makes it invalid. The text must not be empty.
char32_t take_code_point(std::string_view& text) noexcept;

void append_utf8(std::string& out, char32_t code_point);

} // namespace winapi::codec
