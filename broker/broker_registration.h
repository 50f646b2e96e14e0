#pragma once

#include <windows.h>

namespace host {

/// Registers the broker's class and program identifier below a root's "Software\Classes": HKEY_LOCAL_MACHINE or
/// HKEY_CURRENT_USER. The server is the module that contains this code. Returns a Win32 error code, 0 for success.
[[nodiscard]] LONG register_broker(HKEY root);
/// Removes both. Also succeeds if they do not exist. Returns a Win32 error code.
[[nodiscard]] LONG unregister_broker(HKEY root);

} // namespace host
