#pragma once

#include <windows.h>

namespace broker {

/// {7D4B6086-FE26-4880-AD58-984F6623D13C}
inline constexpr CLSID provider_class{0x7D4B6086, 0xFE26, 0x4880, {0xAD, 0x58, 0x98, 0x4F, 0x66, 0x23, 0xD1, 0x3C}};

inline constexpr const wchar_t* event_source = L"postwarden-broker";

/// Registers the broker for the machine: its class, its event source, and, unless it is specified already, the file
/// "postwarden\settings.json" in the folder of the machine's program data. Returns a Win32 error code, 0 for success.
[[nodiscard]] LONG register_broker();
/// Removes all that, apart from a file that was specified otherwise. Also succeeds if it does not exist.
[[nodiscard]] LONG unregister_broker();

} // namespace broker
