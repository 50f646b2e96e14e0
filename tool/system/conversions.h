#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Code pages and the conversions between wide and narrow text.
namespace winapi {

inline constexpr std::uint32_t code_page_ansi = 0;        ///< CP_ACP
inline constexpr std::uint32_t code_page_thread_ansi = 3; ///< CP_THREAD_ACP
inline constexpr std::uint32_t code_page_utf8 = 65001;    ///< CP_UTF8

/// Wide text in a code page. A failed conversion raises std::runtime_error
/// "conv_to_char called wcstombs() and failed.". What the code page cannot hold becomes its default character.
std::string conv_to_char(std::wstring_view text, std::uint32_t code_page = code_page_ansi);

/// Narrow text of a code page as wide text; bytes that mean nothing become U+FFFD or the code page's replacement.
std::wstring conv_to_wide(std::string_view text, std::uint32_t code_page = code_page_ansi);

/// `value` in lower-case hexadecimal without leading zeros.
std::string to_hex(std::uint64_t value);

/// ASCII case-blind comparison as _stricmp and _memicmp do it: negative, zero or positive.
int compare_no_case(std::string_view left, std::string_view right) noexcept;

/// A HRESULT or other 32-bit code as lower-case hexadecimal digits without a prefix.
std::string hex32(std::uint32_t value);

} // namespace winapi
