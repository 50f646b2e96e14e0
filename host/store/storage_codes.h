#pragma once

#include "tool/system/hresult.h"

namespace host {

// Answers of streams, under names that no system header takes.
inline constexpr auto storage_invalid_function = static_cast<HRESULT>(0x80030001U);
inline constexpr auto storage_access_denied = static_cast<HRESULT>(0x80030005U);
inline constexpr auto storage_invalid_pointer = static_cast<HRESULT>(0x80030009U);

} // namespace host
