#pragma once

#include <cstdint>
#include <string>

namespace winapi {

/// The system's text for a Win32 or Winsock code in the ANSI code page, with the line end that FormatMessageA puts
/// behind it. Empty for a code that the system has no text for.
[[nodiscard]] std::string system_message(std::uint32_t code);

} // namespace winapi
