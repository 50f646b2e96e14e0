#pragma once

#include "tool/http/head_records.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// The method words of HTTP: those that the grammar reads, and the number of each method.
namespace http {

/// The words that parse_http_request() accepts, in the order in which the groups are tried. No word is the beginning of
/// another, so the order does not matter.
[[nodiscard]] std::span<const std::string_view> basic_methods() noexcept;
[[nodiscard]] std::span<const std::string_view> dav_methods() noexcept;
[[nodiscard]] std::span<const std::string_view> versioning_methods() noexcept;
/// Returns the length of the word of these three groups that `text` begins with, case-sensitive; 0 if there is none.
[[nodiscard]] std::size_t method_word_length(range text) noexcept;
/// The length of the longest word of basic_methods().
inline constexpr std::size_t longest_basic_method = 7;
/// Words that parse_http_request() refuses and parse_http_extension_request() accepts.
[[nodiscard]] std::span<const std::string_view> rpc_methods() noexcept;

/// The method numbers that the product compares with.
namespace method {
inline constexpr std::uint32_t unknown = 0;
inline constexpr std::uint32_t options = 1;
inline constexpr std::uint32_t get = 2;
inline constexpr std::uint32_t head = 3;
inline constexpr std::uint32_t post = 4;
inline constexpr std::uint32_t connect = 8;
} // namespace method

/// Returns the number of a method, case-insensitively: 1 to 37 for the words of the first three groups without PATCH,
/// 50 for BITS_POST, 51 for CCM_POST, 52 for PATCH. Returns method::unknown for any other word.
[[nodiscard]] std::uint32_t method_id(range word) noexcept;

} // namespace http
