#pragma once

#include <windows.h>

#include <string>

namespace winapi {

/// The type of the system's LookupAccountNameW; a test supplies its own function.
using account_look_up = decltype(&::LookupAccountNameW);

/// Returns the textual security identifier of a user from `look_up`, empty if that fails. The domain's name has room
/// for 20 characters, including the terminating one; for a longer name the look-up fails.
[[nodiscard]] std::wstring user_sid_text(const std::wstring& user_name, account_look_up look_up);

} // namespace winapi
