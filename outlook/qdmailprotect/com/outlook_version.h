#pragma once

#include <string>

/// Returns true for a mail client of version 14 or later. `version` must contain at least four characters and a ".";
/// the part before the first "." is the number.
[[nodiscard]] bool IsSupportedVersion(const std::wstring& version);
