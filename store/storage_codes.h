#pragma once

#include "tool/system/hresult.h"

// Result codes of streams, under names that no system header defines.
inline constexpr auto StorageInvalidFunction = static_cast<HRESULT>(0x80030001U);
inline constexpr auto StorageAccessDenied = static_cast<HRESULT>(0x80030005U);
inline constexpr auto StorageInvalidPointer = static_cast<HRESULT>(0x80030009U);
