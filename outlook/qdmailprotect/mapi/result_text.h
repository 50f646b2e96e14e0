#pragma once

#include "tool/system/conversions.h"
#include "tool/system/hresult.h"

#include <cstdint>
#include <string>

/// Formats a result as it appears in the log after "0x".
inline std::string HexResult(HRESULT result)
{
    return winapi::hex32(static_cast<std::uint32_t>(result));
}
