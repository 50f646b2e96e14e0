#pragma once

#include "outlook/qdmailprotect/mapi/storage_codes.h"

namespace host {

inline constexpr auto storage_invalid_function = StorageInvalidFunction;
inline constexpr auto storage_access_denied = StorageAccessDenied;
inline constexpr auto storage_invalid_pointer = StorageInvalidPointer;

} // namespace host
