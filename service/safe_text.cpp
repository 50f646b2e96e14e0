#include "service/safe_text.h"

#include "tool/system/base64.h"
#include "tool/system/utf.h"

#include <algorithm>

namespace service {

namespace {

std::string from_latin1(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        winapi::utf::append_utf8(text, static_cast<unsigned char>(byte));
    }
    return text;
}

bool is_control(char32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

} // namespace

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

std::optional<std::string> from_base64(std::string_view text)
{
    const std::size_t digits = text.find_last_not_of('=') + 1;
    const bool padded = text.size() % 4 == 0 && text.size() - digits <= 2;
    if (!padded || text.substr(0, digits).find('=') != std::string_view::npos) {
        return std::nullopt;
    }
    return winapi::base64::decode(text);
}

std::string valid_utf8(std::string_view bytes)
{
    return is_utf8(bytes) ? std::string(bytes) : from_latin1(bytes);
}

std::string display_text(std::string_view bytes, std::size_t longest)
{
    const std::string text = valid_utf8(bytes);
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
