#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace test {

/// Returns the texts concatenated.
inline std::string joined(std::initializer_list<std::string_view> parts)
{
    std::string text;
    for (const auto part : parts) {
        text.append(part);
    }
    return text;
}

} // namespace test
