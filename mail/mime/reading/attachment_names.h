#pragma once

#include <string>
#include <string_view>

namespace host {

/// The name in the old form of eight characters, a dot and three: the name itself if it has that form, else its first
/// six usable characters with "~1" and the first three of its extension, in capitals. Empty for an empty name.
std::wstring short_name(std::wstring_view name);

/// The extension with its dot; empty when there is none.
std::wstring extension_of(std::wstring_view name);

} // namespace host
