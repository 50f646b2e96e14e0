#pragma once

#include <windows.h>

namespace host {

/// Enters the broker's class and program identifier below a root's "Software\Classes": HKEY_LOCAL_MACHINE or
/// HKEY_CURRENT_USER. The server is the module that this code is part of. Returns a Win32 code, 0 for success.
[[nodiscard]] LONG register_broker(HKEY root);
/// Takes both back; success also when they are not there.
[[nodiscard]] LONG unregister_broker(HKEY root);

} // namespace host
