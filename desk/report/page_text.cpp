#include "desk/report/page_text.h"

#include "tool/system/utf.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace host {

namespace {

struct character_range
{
    char32_t first;
    char32_t last;
};

/// Characters that cannot be seen, or that change how others are seen.
constexpr std::array unseen{
    character_range{0x0000, 0x001F},   character_range{0x007F, 0x009F}, character_range{0x00AD, 0x00AD},
    character_range{0x034F, 0x034F},   character_range{0x061C, 0x061C}, character_range{0x115F, 0x1160},
    character_range{0x180B, 0x180F},   character_range{0x200B, 0x200F}, character_range{0x2028, 0x202E},
    character_range{0x2060, 0x206F},   character_range{0x3164, 0x3164}, character_range{0xFE00, 0xFE0F},
    character_range{0xFEFF, 0xFEFF},   character_range{0xFFF0, 0xFFFB}, character_range{0xFFFE, 0xFFFF},
    character_range{0xE0000, 0xE0FFF},
};

bool is_unseen(char32_t character)
{
    return std::any_of(unseen.begin(), unseen.end(), [character](const character_range& range) {
        return character >= range.first && character <= range.last;
    });
}

void append_number(std::string& out, char32_t character)
{
    std::array<char, 16> text{};
    (void)std::snprintf(text.data(), text.size(), "%04X", static_cast<unsigned>(character));
    out.append("<span class=u>U+").append(text.data()).append("</span>");
}

/// Appends a character as text of an element.
void append_escaped(std::string& out, char32_t character)
{
    switch (character) {
    case U'&':
        out += "&amp;";
        break;
    case U'<':
        out += "&lt;";
        break;
    case U'>':
        out += "&gt;";
        break;
    case U'"':
        out += "&quot;";
        break;
    case U'\'':
        out += "&#39;";
        break;
    default:
        winapi::utf::append_utf8(out, character);
    }
}

void append_shown(std::string& out, char32_t character)
{
    if (is_unseen(character)) {
        append_number(out, character);
    } else {
        append_escaped(out, character);
    }
}

/// Returns the number of characters of the text.
std::size_t length_of(std::string_view text)
{
    std::size_t length = 0;
    for (; !text.empty(); ++length) {
        winapi::utf::take_code_point(text);
    }
    return length;
}

} // namespace

std::string page_text(std::string_view text, std::size_t longest, kept_part kept)
{
    constexpr std::string_view ellipsis = "\xE2\x80\xA6";
    const std::size_t length = kept == kept_part::end ? length_of(text) : 0;
    std::string result;
    if (length > longest) {
        for (std::size_t i = longest; i < length; ++i) {
            winapi::utf::take_code_point(text);
        }
        result = ellipsis;
    }
    for (std::size_t i = 0; i < longest && !text.empty(); ++i) {
        append_shown(result, winapi::utf::take_code_point(text));
    }
    return text.empty() ? result : result.append(ellipsis);
}

std::string isolated_text(std::string_view text, std::size_t longest, kept_part kept)
{
    return "<bdi>" + page_text(text, longest, kept) + "</bdi>";
}

std::string page_lines(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const char32_t character = winapi::utf::take_code_point(text);
        if (character == U'\r' && text.starts_with('\n')) {
            continue;
        }
        if (character == U'\n' || character == U'\t') {
            result.push_back(static_cast<char>(character));
        } else {
            append_shown(result, character);
        }
    }
    return result;
}

std::string attribute_text(std::string_view text)
{
    std::string result;
    result.reserve(text.size() + text.size() / 8);
    while (!text.empty()) {
        const char32_t character = winapi::utf::take_code_point(text);
        if (character == U'&') {
            result += "&amp;";
        } else if (character == U'"') {
            result += "&quot;";
        } else {
            winapi::utf::append_utf8(result, character == 0 ? winapi::utf::replacement_character : character);
        }
    }
    return result;
}

std::string size_text(std::uint64_t bytes)
{
    constexpr std::array<const char*, 4> units{"KB", "MB", "GB", "TB"};
    constexpr double step = 1024;
    if (bytes < 1024) {
        return count_text(bytes, "byte", "bytes");
    }
    double value = static_cast<double>(bytes) / step;
    std::size_t unit = 0;
    for (; value >= step && unit + 1 < units.size(); ++unit) {
        value /= step;
    }
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), value < 10 ? "%.1f" : "%.0f", value);
    return std::string(text.data()) + ' ' + units.at(unit);
}

std::string count_text(std::uint64_t count, std::string_view one, std::string_view several)
{
    return std::to_string(count).append(1, ' ').append(count == 1 ? one : several);
}

} // namespace host
