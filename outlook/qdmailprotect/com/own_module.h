#pragma once

#include "tool/system/hresult.h"

#include <string>
#include <string_view>

/// Returns the module that contains this code: the add-in or a test. Its reference count is not changed.
HMODULE OwnModule() noexcept;
/// Returns the path of that module. Throws error::win32exception.
std::wstring OwnModulePath();
/// Returns `path` up to and including its last "\" or "/", followed by `fileName`.
std::wstring BesidePath(std::wstring_view path, std::wstring_view fileName);
