#pragma once

#include <windows.h>

namespace broker {

/// A COM class that a module implements, with the threading model Both.
struct com_class
{
    CLSID id;
    const wchar_t* program; ///< its name, such as "Maker.Class"
    const wchar_t* description;
};

/// Registers a class below a root's "Software\Classes": HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER. The server is the
/// module that contains this code. Returns a Win32 error code, 0 for success.
[[nodiscard]] LONG register_class(HKEY root, const com_class& what);
/// Removes it, and its name if that is of this class. Also succeeds if they do not exist. Returns a Win32 error code.
[[nodiscard]] LONG unregister_class(HKEY root, const com_class& what);

} // namespace broker
