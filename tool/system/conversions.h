#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Code pages and the conversions between wide and narrow text.
namespace winapi {

inline constexpr std::uint32_t code_page_ansi = 0;        ///< CP_ACP
inline constexpr std::uint32_t code_page_thread_ansi = 3; ///< CP_THREAD_ACP
inline constexpr std::uint32_t code_page_utf8 = 65001;    ///< CP_UTF8

/// Wide text in a code page. A failed conversion (above all a code page that the system does not have) raises
/// std::runtime_error "conv_to_char called wcstombs() and failed.". What the code page cannot hold becomes its
/// default character; in UTF-8 an unpaired surrogate becomes U+FFFD.
std::string conv_to_char(std::wstring_view text, std::uint32_t code_page = code_page_ansi);

/// Narrow text of a code page as wide text; bytes that mean nothing become U+FFFD or the code page's replacement.
/// A code page that the system does not have raises std::runtime_error "conv_to_wide called mbstowcs() and failed.".
std::wstring conv_to_wide(std::string_view text, std::uint32_t code_page = code_page_ansi);

/// The code page that code_page_ansi and code_page_thread_ansi stand for: the system's, windows-1252 where the
/// system has none.
[[nodiscard]] std::uint32_t ansi_code_page() noexcept;

/// Puts another code page in the place of the ANSI one for the whole process and returns the number that was in
/// force before; 0 gives the system's back. Meant for tests and for hosts that know the user's code page better.
std::uint32_t ansi_code_page(std::uint32_t code_page) noexcept;

/// `value` in lower-case hexadecimal without leading zeros.
std::string to_hex(std::uint64_t value);

/// ASCII case-blind comparison as _stricmp and _memicmp do it: negative, zero or positive.
int compare_no_case(std::string_view left, std::string_view right) noexcept;

/// A HRESULT or other 32-bit code as lower-case hexadecimal digits without a prefix.
std::string hex32(std::uint32_t value);

} // namespace winapi
