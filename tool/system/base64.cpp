#include "tool/system/base64.h"

#include <array>
#include <cstdint>

namespace winapi::base64 {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char padding = '=';
constexpr std::uint8_t invalid = 0x80;

constexpr std::array<std::uint8_t, 256> make_values()
{
    std::array<std::uint8_t, 256> values{};
    for (std::uint8_t& value : values) {
        value = invalid;
    }
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    }
    values[static_cast<unsigned char>(padding)] = 0;
    return values;
}

constexpr std::array<std::uint8_t, 256> values = make_values();

constexpr std::uint32_t value_of(char character)
{
    return values[static_cast<unsigned char>(character)];
}

std::size_t padding_of(std::string_view text)
{
    if (text.size() <= 3 || text.back() != padding) {
        return 0;
    }
    return text[text.size() - 2] == padding ? 2 : 1;
}

} // namespace

std::string encode(std::string_view bytes)
{
    std::string text((bytes.size() + 2) / 3 * 4, padding);
    char* out = text.data();
    const auto byte = [&](std::size_t at) -> std::uint32_t { return static_cast<unsigned char>(bytes[at]); };
    for (; bytes.size() >= 3; bytes.remove_prefix(3), out += 4) {
        const std::uint32_t group = byte(0) << 16U | byte(1) << 8U | byte(2);
        out[0] = alphabet[group >> 18U];
        out[1] = alphabet[group >> 12U & 0x3FU];
        out[2] = alphabet[group >> 6U & 0x3FU];
        out[3] = alphabet[group & 0x3FU];
    }
    if (!bytes.empty()) {
        const std::uint32_t group = byte(0) << 16U | (bytes.size() == 2 ? byte(1) << 8U : 0U);
        out[0] = alphabet[group >> 18U];
        out[1] = alphabet[group >> 12U & 0x3FU];
        if (bytes.size() == 2) {
            out[2] = alphabet[group >> 6U & 0x3FU];
        }
    }
    return text;
}

bool is_digit_or_padding(char character) noexcept
{
    return value_of(character) != invalid;
}

std::optional<std::size_t> decode_to(std::string_view text, unsigned char* out) noexcept
{
    const std::size_t rest = text.size() % 4;
    if (rest == 1) {
        return std::nullopt;
    }
    std::uint32_t seen = 0; // all values together: an invalid one leaves its mark
    const char* in = text.data();
    for (const char* const end = in + (text.size() - rest); in != end; in += 4, out += 3) {
        const std::uint32_t a = value_of(in[0]);
        const std::uint32_t b = value_of(in[1]);
        const std::uint32_t c = value_of(in[2]);
        const std::uint32_t d = value_of(in[3]);
        seen |= a | b | c | d;
        out[0] = static_cast<unsigned char>(a << 2U | b >> 4U);
        out[1] = static_cast<unsigned char>(b << 4U | c >> 2U);
        out[2] = static_cast<unsigned char>(c << 6U | d);
    }
    if (rest >= 2) {
        const std::uint32_t a = value_of(in[0]);
        const std::uint32_t b = value_of(in[1]);
        seen |= a | b;
        out[0] = static_cast<unsigned char>(a << 2U | b >> 4U);
        if (rest == 3) {
            const std::uint32_t c = value_of(in[2]);
            seen |= c;
            out[1] = static_cast<unsigned char>(b << 4U | c >> 2U);
        }
    }
    if ((seen & invalid) != 0) {
        return std::nullopt;
    }
    return room_for(text) - padding_of(text);
}

} // namespace winapi::base64
