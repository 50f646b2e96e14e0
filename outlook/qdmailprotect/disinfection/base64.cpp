#include "outlook/qdmailprotect/disinfection/base64.h"

#include <boost/archive/iterators/dataflow_exception.hpp>

#include <array>
#include <cstdint>

namespace {

// The library's decoding iterators process one character at a time and are an order of magnitude slower. Results and
// errors are the same as theirs; the tests compare both implementations.

constexpr std::uint8_t Invalid = 0x80;

constexpr std::array<std::uint8_t, 256> MakeValues()
{
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::uint8_t, 256> values{};
    for (std::uint8_t& value : values) {
        value = Invalid;
    }
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    }
    values[static_cast<unsigned char>('=')] = 0;
    return values;
}

constexpr std::array<std::uint8_t, 256> Values = MakeValues();

constexpr std::uint32_t Value(char character)
{
    return Values[static_cast<unsigned char>(character)];
}

std::size_t PaddingOf(std::string_view text)
{
    if (text.size() <= 3 || text.back() != '=') {
        return 0;
    }
    return text[text.size() - 2] == '=' ? 2 : 1;
}

[[noreturn]] void RaiseInvalid()
{
    using boost::archive::iterators::dataflow_exception;
    throw dataflow_exception(dataflow_exception::invalid_base64_character);
}

} // namespace

std::vector<std::byte> DecodeBase64(std::string_view text)
{
    const std::size_t rest = text.size() % 4;
    if (rest == 1) {
        RaiseInvalid();
    }
    std::vector<std::byte> bytes(text.size() / 4 * 3 + (rest == 0 ? 0 : rest - 1));
    std::uint32_t seen = 0; // all values combined; records any invalid value
    std::byte* out = bytes.data();
    const char* in = text.data();
    for (const char* const end = in + (text.size() - rest); in != end; in += 4, out += 3) {
        const std::uint32_t a = Value(in[0]);
        const std::uint32_t b = Value(in[1]);
        const std::uint32_t c = Value(in[2]);
        const std::uint32_t d = Value(in[3]);
        seen |= a | b | c | d;
        out[0] = static_cast<std::byte>(a << 2 | b >> 4);
        out[1] = static_cast<std::byte>(b << 4 | c >> 2);
        out[2] = static_cast<std::byte>(c << 6 | d);
    }
    if (rest >= 2) {
        const std::uint32_t a = Value(in[0]);
        const std::uint32_t b = Value(in[1]);
        seen |= a | b;
        out[0] = static_cast<std::byte>(a << 2 | b >> 4);
        if (rest == 3) {
            const std::uint32_t c = Value(in[2]);
            seen |= c;
            out[1] = static_cast<std::byte>(b << 4 | c >> 2);
        }
    }
    if ((seen & Invalid) != 0) {
        RaiseInvalid();
    }
    bytes.resize(bytes.size() - PaddingOf(text));
    return bytes;
}
