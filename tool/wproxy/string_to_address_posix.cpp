#include "tool/system/win32_codes.h"
#include "tool/wproxy/socket_address.h"

#include <optional>

namespace web {

namespace {

/// Takes a decimal number of at most `limit` from the front of the text.
std::optional<std::uint32_t> take_number(std::wstring_view& text, std::uint32_t limit)
{
    std::uint32_t value = 0;
    std::size_t digits = 0;
    while (digits < text.size() && text[digits] >= L'0' && text[digits] <= L'9') {
        value = value * 10 + static_cast<std::uint32_t>(text[digits] - L'0');
        if (value > limit) {
            return std::nullopt;
        }
        ++digits;
    }
    if (digits == 0) {
        return std::nullopt;
    }
    text.remove_prefix(digits);
    return value;
}

bool take(std::wstring_view& text, wchar_t expected)
{
    if (text.empty() || text.front() != expected) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

} // namespace

std::uint32_t string_to_address(std::wstring_view text, socket_address& address)
{
    std::uint32_t host = 0;
    for (int part = 0; part < 4; ++part) {
        if (part != 0 && !take(text, L'.')) {
            return winapi::code::socket_invalid;
        }
        const auto number = take_number(text, 255);
        if (!number) {
            return winapi::code::socket_invalid;
        }
        host = host << 8U | *number;
    }
    std::uint32_t port = 0;
    if (!text.empty()) {
        const auto number = take(text, L':') ? take_number(text, 65535) : std::nullopt;
        if (!number || !text.empty()) {
            return winapi::code::socket_invalid;
        }
        port = *number;
    }
    address = make_socket_address(host, static_cast<std::uint16_t>(port));
    return winapi::code::success;
}

} // namespace web
