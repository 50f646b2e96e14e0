#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The platform's part of the conversions. A code page is a real one here, or what thread_ansi_code_page() returns.
namespace winapi::codec {

/// Converts a text, which must not be empty. Returns nothing if the system does not have the code page or the
/// conversion failed as a whole.
std::optional<std::string> encode(std::wstring_view text, std::uint32_t code_page);
std::optional<std::wstring> decode(std::string_view text, std::uint32_t code_page);

/// Returns the system's own ANSI code page.
std::uint32_t system_ansi_code_page() noexcept;
/// Returns the code page to give to encode() and decode() for the ANSI one of the calling thread's locale.
std::uint32_t thread_ansi_code_page() noexcept;

} // namespace winapi::codec
