#pragma once

#include "tool/system/hresult.h"

#include <string>
#include <string_view>

/// The module that this code is linked into: the add-in, or a test. Not counted.
HMODULE OwnModule() noexcept;
/// Its file. Raises error::win32exception.
std::wstring OwnModulePath();
/// `path` up to and with its last "\" or "/", then `fileName`.
std::wstring BesidePath(std::wstring_view path, std::wstring_view fileName);
