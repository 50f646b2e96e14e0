#pragma once

#include <string>

/// True for a mail client of version 14 or later. `version` holds at least four characters and a "."; what stands
/// before the first "." is the number.
[[nodiscard]] bool IsSupportedVersion(const std::wstring& version);
