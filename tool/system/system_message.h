#pragma once

#include <cstdint>
#include <string>

namespace winapi {

/// Returns the system's text for a Win32 or Winsock code in the ANSI code page, with the line end that FormatMessageA
/// appends. Empty for a code without a text.
[[nodiscard]] std::string system_message(std::uint32_t code);

} // namespace winapi
