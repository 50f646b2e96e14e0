#pragma once

#include <string>
#include <string_view>

namespace host {

/// Returns the name in the short form of eight characters, a dot and three characters: the name itself if it has that
/// form, otherwise its first six allowed characters with "~1" and the first three of its extension, in upper case.
/// Returns an empty text for an empty name.
std::wstring short_name(std::wstring_view name);

/// Returns the extension including its dot; empty if there is none.
std::wstring extension_of(std::wstring_view name);

} // namespace host
