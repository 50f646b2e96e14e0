#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The platform's side of the conversions; code pages are real ones here, never a placeholder for the ANSI one.
namespace winapi::codec {

/// Nothing if the system has no such code page or the conversion failed as a whole. The text is not empty.
std::optional<std::string> encode(std::wstring_view text, std::uint32_t code_page);
std::optional<std::wstring> decode(std::string_view text, std::uint32_t code_page);

/// The system's own ANSI code page.
std::uint32_t system_ansi_code_page() noexcept;

} // namespace winapi::codec
