#pragma once

#include <string>

/// Returns false if the extension of the file name denotes an executable or a script. Trailing blanks and case are
/// ignored. An empty name and a name without a dot are allowed.
[[nodiscard]] bool IsExtensionAllowed(const std::wstring& fileName);
