#pragma once

#include "tool/http/message.h"

#include <cstdint>
#include <string_view>

/// What the values of content headers mean.
namespace http {

/// Number of the part of a Content-Type ahead of its first "/", case ignored; 0 for any other or without a "/".
[[nodiscard]] std::uint32_t content_kind_of(std::string_view content_type) noexcept;
/// Number of a Content-Encoding, case counting; 0 for any other.
[[nodiscard]] std::uint32_t encoding_kind_of(std::string_view content_encoding) noexcept;
/// The three numbers of "bytes FIRST-LAST/TOTAL" as "%u" reads them, or all ones.
[[nodiscard]] content_range_data content_range_of(std::string_view content_range);
/// A decimal number as a 32-bit strtoul reads it: white space and a sign may stand ahead, the number ends at the first
/// other byte, no number is 0, and one that is too large is all ones.
[[nodiscard]] std::uint32_t decimal_of(std::string_view text) noexcept;

} // namespace http
