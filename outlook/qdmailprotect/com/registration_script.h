#pragma once

#include <string>
#include <string_view>

/// The registry script with the classes of the current user in the place of the machine's: what stands under HKCR goes
/// to HKCU\Software\Classes. Everything else stays.
std::wstring ScriptForUser(std::wstring_view script);

/// A text as it may stand between the single quotes of a script.
std::wstring QuotedForScript(std::wstring_view text);
