#include "service/text.h"

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

/// Length of the well-formed UTF-8 character that `text` begins with, or 0.
std::size_t character_length(std::string_view text)
{
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned first = byte(0);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    for (std::size_t at = 1; at < length; ++at) {
        if ((byte(at) & 0xC0U) != 0x80) {
            return 0;
        }
    }
    const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
    const bool surrogate = first == 0xED && byte(1) > 0x9F;
    const bool too_large = first == 0xF4 && byte(1) > 0x8F;
    return overlong || surrogate || too_large ? 0 : length;
}

std::string from_latin1(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (value < 0x80) {
            text += byte;
        } else {
            text += static_cast<char>(0xC0U | (value >> 6U));
            text += static_cast<char>(0x80U | (value & 0x3FU));
        }
    }
    return text;
}

bool is_utf8(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t length = character_length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

bool is_control(std::string_view character)
{
    const auto first = static_cast<unsigned char>(character[0]);
    return first < 0x20 || first == 0x7F || (first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0);
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
        const std::string_view character = rest.substr(0, character_length(rest));
        result += is_control(character) ? " " : character;
        rest.remove_prefix(character.size());
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
