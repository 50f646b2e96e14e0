#include "tool/system/utf8.h"

#include <cstddef>

namespace winapi::codec {

namespace {

constexpr bool is_high_surrogate(char32_t value) noexcept
{
    return value >= 0xD800 && value <= 0xDBFF;
}

constexpr bool is_low_surrogate(char32_t value) noexcept
{
    return value >= 0xDC00 && value <= 0xDFFF;
}

/// The bytes that may follow a lead byte: their count and the range of the first of them.
struct lead_rule
{
    std::size_t more = 0;
    unsigned char lowest = 0x80;
    unsigned char highest = 0xBF;
    char32_t bits = 0;
};

/// The table of well-formed sequences. The range of the second byte excludes overlong forms, surrogates and values
/// above U+10FFFF. `more` is 0 for a byte that cannot begin a sequence.
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

} // namespace

char32_t take_code_point(std::wstring_view& text) noexcept
{
    const auto first = static_cast<char32_t>(text.front());
    text.remove_prefix(1);
    if (is_high_surrogate(first) && !text.empty() && is_low_surrogate(static_cast<char32_t>(text.front()))) {
        const auto second = static_cast<char32_t>(text.front());
        text.remove_prefix(1);
        return 0x10000 + ((first - 0xD800) << 10U) + (second - 0xDC00);
    }
    const bool surrogate = is_high_surrogate(first) || is_low_surrogate(first);
    return surrogate || first > 0x10FFFF ? replacement_character : first;
}

char32_t take_code_point(std::string_view& text) noexcept
{
    const auto lead = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (lead < 0x80) {
        return lead;
    }
    const lead_rule rule = rule_of(lead);
    if (rule.more == 0) {
        return replacement_character;
    }
    char32_t value = rule.bits;
    unsigned char lowest = rule.lowest;
    unsigned char highest = rule.highest;
    for (std::size_t i = 0; i < rule.more; ++i) {
        if (text.empty()) {
            return replacement_character;
        }
        const auto byte = static_cast<unsigned char>(text.front());
        if (byte < lowest || byte > highest) {
            return replacement_character;
        }
        text.remove_prefix(1);
        value = (value << 6U) | (byte & 0x3FU);
        lowest = 0x80;
        highest = 0xBF;
    }
    return value;
}

void append_utf8(std::string& out, char32_t code_point)
{
    const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(static_cast<unsigned char>(byte))); };
    if (code_point < 0x80) {
        put(code_point);
    } else if (code_point < 0x800) {
        put(0xC0U | (code_point >> 6U));
        put(0x80U | (code_point & 0x3FU));
    } else if (code_point < 0x10000) {
        put(0xE0U | (code_point >> 12U));
        put(0x80U | ((code_point >> 6U) & 0x3FU));
        put(0x80U | (code_point & 0x3FU));
    } else {
        put(0xF0U | (code_point >> 18U));
        put(0x80U | ((code_point >> 12U) & 0x3FU));
        put(0x80U | ((code_point >> 6U) & 0x3FU));
        put(0x80U | (code_point & 0x3FU));
    }
}

} // namespace winapi::codec
