#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Code pages and the conversions between wide and narrow text.
namespace winapi {

inline constexpr std::uint32_t code_page_ansi = 0;        ///< CP_ACP
inline constexpr std::uint32_t code_page_thread_ansi = 3; ///< CP_THREAD_ACP
inline constexpr std::uint32_t code_page_utf8 = 65001;    ///< CP_UTF8

/// Returns wide text in a code page. A character that the code page does not contain becomes its default character; in
/// UTF-8 an unpaired surrogate becomes U+FFFD. Throws std::runtime_error "conv_to_char called wcstombs() and failed."
/// if the conversion fails, in particular for a code page that the system does not have.
std::string conv_to_char(std::wstring_view text, std::uint32_t code_page = code_page_ansi);

/// Returns narrow text of a code page as wide text. Invalid bytes become U+FFFD or the code page's replacement. Throws
/// std::runtime_error "conv_to_wide called mbstowcs() and failed." for a code page that the system does not have.
std::wstring conv_to_wide(std::string_view text, std::uint32_t code_page = code_page_ansi);

/// Returns the code page that code_page_ansi means: the system's, or windows-1252 if the system has none. On Windows
/// code_page_thread_ansi means that of the calling thread's locale, which can differ; elsewhere it is the same.
[[nodiscard]] std::uint32_t ansi_code_page() noexcept;

/// Replaces both ANSI code pages for the whole process and returns the former number; 0 restores the system's. For
/// tests, and for hosts that know the user's code page better.
std::uint32_t ansi_code_page(std::uint32_t code_page) noexcept;

/// Returns the code page of 8-bit text in the language of a 7-bit code page, which only mail in transit uses: 932 for
/// ISO-2022-JP. Returns 0 if the 7-bit code page belongs to no language, such as US-ASCII. Any other code page is
/// returned unchanged.
[[nodiscard]] std::uint32_t eight_bit_code_page(std::uint32_t code_page) noexcept;

/// Returns `value` in lower-case hexadecimal without leading zeros.
std::string to_hex(std::uint64_t value);

/// Compares as _stricmp and _memicmp do, ignoring the case of ASCII letters. Returns a negative number, zero or a
/// positive number.
int compare_no_case(std::string_view left, std::string_view right) noexcept;

/// Returns a HRESULT or other 32-bit code as lower-case hexadecimal digits without a prefix.
std::string hex32(std::uint32_t value);

} // namespace winapi
