#pragma once

#include "tool/http/head_records.h"

#include <cstdint>
#include <span>
#include <string_view>

/// The method words of HTTP: what the grammar reads, and the number of each method.
namespace http {

/// The words of the method rule, in the order in which the groups are tried. No word is the beginning of another, so
/// the order decides nothing.
[[nodiscard]] std::span<const std::string_view> basic_methods() noexcept;
[[nodiscard]] std::span<const std::string_view> dav_methods() noexcept;
[[nodiscard]] std::span<const std::string_view> versioning_methods() noexcept;
/// Words that are no part of the method rule: they are read as unusual methods.
[[nodiscard]] std::span<const std::string_view> rpc_methods() noexcept;

namespace method {
inline constexpr std::uint32_t unknown = 0;
inline constexpr std::uint32_t options = 1;
inline constexpr std::uint32_t get = 2;
inline constexpr std::uint32_t head = 3;
inline constexpr std::uint32_t post = 4;
inline constexpr std::uint32_t connect = 8;
} // namespace method

/// The number of a method, case ignored; 0 for any other word.
[[nodiscard]] std::uint32_t method_id(range word) noexcept;

} // namespace http
