#pragma once

#include <string_view>

namespace icap {

/// Returns true for a blank, and for the control characters from tab to carriage return.
constexpr bool is_white_space(char c) noexcept
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The characters for which is_white_space() returns true.
inline constexpr std::string_view white_space = " \t\n\v\f\r";

} // namespace icap
