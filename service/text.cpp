#include "service/text.h"

#include "tool/system/utf.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace service {

namespace {

/// Value of a Base64 digit, or -1.
int digit_value(char digit)
{
    if (digit >= 'A' && digit <= 'Z') {
        return digit - 'A';
    }
    if (digit >= 'a' && digit <= 'z') {
        return digit - 'a' + 26;
    }
    if (digit >= '0' && digit <= '9') {
        return digit - '0' + 52;
    }
    return digit == '+' ? 62 : digit == '/' ? 63 : -1;
}

std::string from_latin1(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        winapi::utf::append_utf8(text, static_cast<unsigned char>(byte));
    }
    return text;
}

bool is_utf8(std::string_view text)
{
    while (!text.empty()) {
        const auto next = winapi::utf::first_code_point(text);
        if (!next.valid) {
            return false;
        }
        text.remove_prefix(next.size);
    }
    return true;
}

bool is_control(char32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

} // namespace

std::optional<std::string> from_base64(std::string_view text)
{
    std::string bytes;
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    for (; !text.empty(); text.remove_prefix(4)) {
        const bool last = text.size() == 4;
        const std::size_t padding = !last || text[3] != '=' ? 0 : text[2] != '=' ? 1 : 2;
        std::uint32_t group = 0;
        for (std::size_t at = 0; at < 4; ++at) {
            const int value = at >= 4 - padding ? 0 : digit_value(text[at]);
            if (value < 0) {
                return std::nullopt;
            }
            group = group << 6U | static_cast<std::uint32_t>(value);
        }
        const std::array<char, 3> decoded{static_cast<char>(group >> 16U), static_cast<char>(group >> 8U),
                                          static_cast<char>(group)};
        bytes.append(decoded.data(), 3 - padding);
    }
    return bytes;
}

std::string display_text(std::string_view bytes, std::size_t longest)
{
    const std::string text = is_utf8(bytes) ? std::string(bytes) : from_latin1(bytes);
    std::string result;
    std::size_t count = 0;
    for (std::string_view rest = text; !rest.empty();) {
        if (count++ == longest) {
            return result + "...";
        }
        const auto next = winapi::utf::first_code_point(rest);
        result += is_control(next.code_point) ? " " : rest.substr(0, next.size);
        rest.remove_prefix(next.size);
    }
    return result;
}

std::string html_escaped(std::string_view text)
{
    std::string result;
    for (const char character : text) {
        switch (character) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '\'':
            result += "&#39;";
            break;
        default:
            result += character;
        }
    }
    return result;
}

std::string threat_name(std::string_view text)
{
    std::string name(text.substr(0, 128));
    std::replace_if(
        name.begin(), name.end(), [](char byte) { return byte <= ' ' || byte > '~' || byte == ';' || byte == '='; },
        '_');
    return name.empty() ? "unknown" : name;
}

} // namespace service
