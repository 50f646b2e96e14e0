#pragma once

namespace icap {

/// Returns true for a blank, and for the control characters from tab to carriage return.
constexpr bool is_white_space(char c) noexcept
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

} // namespace icap
