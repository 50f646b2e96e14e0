#pragma once

#include <string>
#include <string_view>

/// Returns the registry script with the current user's classes in place of the machine's: HKCR is replaced by
/// HKCU\Software\Classes. All other parts are unchanged.
std::wstring ScriptForUser(std::wstring_view script);

/// Returns a text escaped for use between the single quotes of a script.
std::wstring QuotedForScript(std::wstring_view text);
