#pragma once

#include <string>
#include <string_view>

/// UTF-8 for systems whose wide character is UTF-32.
namespace winapi::codec {

inline constexpr char32_t replacement_character = 0xFFFD;

/// Takes the next code point off the front of wide text. A surrogate pair counts as the one code point that it
/// stands for, since wide text may come from a UTF-16 source; what is no code point becomes U+FFFD. The text must
/// not be empty.
char32_t take_code_point(std::wstring_view& text) noexcept;

/// Takes the next code point off the front of UTF-8 text; a byte sequence that is cut short or wrong counts as one
/// U+FFFD as far as it could still have become right. The text must not be empty.
char32_t take_code_point(std::string_view& text) noexcept;

void append_utf8(std::string& out, char32_t code_point);

} // namespace winapi::codec
