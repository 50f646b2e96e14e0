#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Base64 with the standard alphabet.
namespace winapi::base64 {

/// The bytes as padded text on one line. Empty for no bytes.
std::string encode(std::string_view bytes);

/// True for the 64 digits and the padding character.
bool is_digit_or_padding(char character) noexcept;

/// The most bytes that a text decodes to.
constexpr std::size_t room_for(std::string_view text) noexcept
{
    const std::size_t rest = text.size() % 4;
    return text.size() / 4 * 3 + (rest == 0 ? 0 : rest - 1);
}

/// Decodes a text as decode() does into memory with room for room_for() bytes; returns the count of bytes.
std::optional<std::size_t> decode_to(std::string_view text, unsigned char* out) noexcept;

/// The bytes of a text. Up to two '=' at the end of a text of more than 3 characters are padding; everywhere else '='
/// counts as 0, as 'A' does. The last group may have two or three characters. Nothing for any other character, white
/// space included, and for a single character behind the last whole group.
template <typename Bytes = std::string>
std::optional<Bytes> decode(std::string_view text)
{
    Bytes bytes(room_for(text), typename Bytes::value_type{});
    const auto count = decode_to(text, reinterpret_cast<unsigned char*>(bytes.data()));
    if (!count) {
        return std::nullopt;
    }
    bytes.resize(*count);
    return bytes;
}

} // namespace winapi::base64
