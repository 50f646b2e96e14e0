#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace host {

/// A path from UTF-8, as all texts of this program are, on every system; bytes that are no UTF-8 stay where a system's
/// paths are bytes.
inline std::filesystem::path path_of(std::string_view utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

/// The path in UTF-8.
inline std::string text_of_path(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace host
