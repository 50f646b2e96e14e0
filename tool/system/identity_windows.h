#pragma once

#include <windows.h>

#include <string>

namespace winapi {

/// The system's LookupAccountNameW, or what a test has in its place.
using account_look_up = decltype(&::LookupAccountNameW);

/// The textual security identifier of a user as `look_up` gives it, empty if that fails. The domain's name has room
/// for 20 characters, the one that ends it included: of a longer one the look-up fails.
[[nodiscard]] std::wstring user_sid_text(const std::wstring& user_name, account_look_up look_up);

} // namespace winapi
