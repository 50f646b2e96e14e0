#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace host {

/// Converts UTF-8, the encoding of all texts of this program, to a path on every system. Invalid UTF-8 is preserved
/// where paths of the system are byte strings.
inline std::filesystem::path path_of(std::string_view utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

/// Returns the path in UTF-8.
inline std::string text_of_path(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace host
