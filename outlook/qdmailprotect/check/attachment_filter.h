#pragma once

#include <string>

/// False for a file name whose extension is that of an executable or a script; blanks behind it and case don't count.
/// An empty name and one without a dot are allowed.
[[nodiscard]] bool IsExtensionAllowed(const std::wstring& fileName);
