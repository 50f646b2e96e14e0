#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// UTF-8, UTF-16 and wide text, whose characters are UTF-16 units on some systems and code points on others. Wide text
/// may contain surrogate pairs on all of them, since it may come from a UTF-16 source.
namespace winapi::utf {

inline constexpr char32_t replacement_character = 0xFFFD;
inline constexpr char32_t last_code_point = 0x10FFFF;
inline constexpr char32_t first_of_two_units = 0x10000;

constexpr bool is_high_surrogate(char32_t unit) noexcept
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool is_low_surrogate(char32_t unit) noexcept
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// The code point that two surrogates encode.
constexpr char32_t of_pair(char32_t high, char32_t low) noexcept
{
    return first_of_two_units + ((high & 0x3FFU) << 10U) + (low & 0x3FFU);
}

/// The first code point of a text. Where the text is malformed it is U+FFFD and not valid, and `size` counts what it
/// replaces: a unit of UTF-16, or the bytes of UTF-8 that could still have become right, at least one.
struct decoded
{
    char32_t code_point = replacement_character;
    std::size_t size = 1; ///< characters of the text
    bool valid = false;
};

namespace detail {

/// What may follow a lead byte: the count of further bytes, 0 if the byte starts nothing, and the range of the first
/// of them. The range excludes overlong forms, surrogates and values over U+10FFFF.
struct lead_rule
{
    std::size_t more = 0;
    unsigned char lowest = 0x80;
    unsigned char highest = 0xBF;
    char32_t bits = 0;
};

constexpr lead_rule rule_of(unsigned char lead) noexcept
{
    lead_rule rule;
    if (lead >= 0xC2 && lead <= 0xDF) {
        rule.more = 1;
        rule.bits = lead & 0x1FU;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        rule.more = 2;
        rule.bits = lead & 0x0FU;
        rule.lowest = lead == 0xE0 ? 0xA0 : 0x80;
        rule.highest = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        rule.more = 3;
        rule.bits = lead & 0x07U;
        rule.lowest = lead == 0xF0 ? 0x90 : 0x80;
        rule.highest = lead == 0xF4 ? 0x8F : 0xBF;
    }
    return rule;
}

} // namespace detail

/// The first code point of UTF-8 text that is not empty.
constexpr decoded first_code_point(std::string_view text) noexcept
{
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const detail::lead_rule rule = detail::rule_of(lead);
    if (rule.more == 0) {
        return {};
    }
    decoded result{rule.bits, 1, true};
    unsigned char lowest = rule.lowest;
    unsigned char highest = rule.highest;
    for (; result.size <= rule.more; ++result.size) {
        const auto byte = result.size < text.size() ? static_cast<unsigned char>(text[result.size]) : 0;
        if (byte < lowest || byte > highest) {
            return {replacement_character, result.size, false};
        }
        result.code_point = (result.code_point << 6U) | (byte & 0x3FU);
        lowest = 0x80;
        highest = 0xBF;
    }
    return result;
}

/// The first code point of wide text that is not empty. A surrogate pair is one.
constexpr decoded first_code_point(std::wstring_view text) noexcept
{
    const auto first = static_cast<char32_t>(text.front());
    if (is_high_surrogate(first) && text.size() > 1 && is_low_surrogate(static_cast<char32_t>(text[1]))) {
        return {of_pair(first, static_cast<char32_t>(text[1])), 2, true};
    }
    if (is_high_surrogate(first) || is_low_surrogate(first) || first > last_code_point) {
        return {};
    }
    return {first, 1, true};
}

/// Takes the first code point off the front of a text that is not empty; U+FFFD for malformed text.
template <typename Char>
constexpr char32_t take_code_point(std::basic_string_view<Char>& text) noexcept
{
    const decoded next = first_code_point(text);
    text.remove_prefix(next.size);
    return next.code_point;
}

/// False for a byte of UTF-8 that continues a character.
constexpr bool begins_character(char byte) noexcept
{
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

/// The largest size up to `most` at which UTF-8 text can be cut between two characters.
constexpr std::size_t whole_characters(std::string_view text, std::size_t most) noexcept
{
    if (most >= text.size()) {
        return text.size();
    }
    while (most > 0 && !begins_character(text[most])) {
        --most;
    }
    return most;
}

inline void append_utf8(std::string& out, char32_t code_point)
{
    const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(static_cast<unsigned char>(byte))); };
    const auto tail = [&](unsigned shift) { put(0x80U | ((code_point >> shift) & 0x3FU)); };
    if (code_point < 0x80) {
        put(code_point);
    } else if (code_point < 0x800) {
        put(0xC0U | (code_point >> 6U));
        tail(0);
    } else if (code_point < first_of_two_units) {
        put(0xE0U | (code_point >> 12U));
        tail(6);
        tail(0);
    } else {
        put(0xF0U | (code_point >> 18U));
        tail(12);
        tail(6);
        tail(0);
    }
}

/// Wide text as UTF-16. An unpaired surrogate remains; a value over U+10FFFF becomes U+FFFD.
inline std::u16string to_utf16(std::wstring_view text)
{
    std::u16string units;
    units.reserve(text.size());
    for (const wchar_t character : text) {
        const auto code = static_cast<char32_t>(character);
        if (code < first_of_two_units) {
            units.push_back(static_cast<char16_t>(code));
        } else if (code <= last_code_point) {
            const char32_t beyond = code - first_of_two_units;
            units.push_back(static_cast<char16_t>(0xD800U | (beyond >> 10U)));
            units.push_back(static_cast<char16_t>(0xDC00U | (beyond & 0x3FFU)));
        } else {
            units.push_back(static_cast<char16_t>(replacement_character));
        }
    }
    return units;
}

/// UTF-16 as wide text. An unpaired surrogate remains.
inline std::wstring from_utf16(std::u16string_view units)
{
    if constexpr (sizeof(wchar_t) == sizeof(char16_t)) {
        return {units.begin(), units.end()};
    }
    std::wstring text;
    text.reserve(units.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        if (is_high_surrogate(units[i]) && i + 1 < units.size() && is_low_surrogate(units[i + 1])) {
            text.push_back(static_cast<wchar_t>(of_pair(units[i], units[i + 1])));
            ++i;
        } else {
            text.push_back(static_cast<wchar_t>(units[i]));
        }
    }
    return text;
}

} // namespace winapi::utf
