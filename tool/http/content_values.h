#pragma once

#include "tool/http/message.h"

#include <cstdint>
#include <string_view>

/// Readers for the values of content headers. They never fail: a value that is not understood gives the documented
/// default.
namespace http {

/// Returns the number of the main type of a Content-Type value, that is, of the text ahead of the first "/":
/// application 4, audio 5, image 6, message 7, model 8, multipart 9, text 10, video 11. Case is ignored. Returns 0 for
/// any other type and for a value without "/".
[[nodiscard]] std::uint32_t content_kind_of(std::string_view content_type) noexcept;
/// Returns the number of a Content-Encoding value: x-gzip and gzip 1, x-compress and compress 2, deflate 3. Returns 0
/// for any other value; the comparison is case-sensitive.
[[nodiscard]] std::uint32_t encoding_kind_of(std::string_view content_encoding) noexcept;
/// Returns the three numbers of a Content-Range value "bytes FIRST-LAST/TOTAL", each read as decimal_of() does. "bytes"
/// is case-sensitive, and anything may follow TOTAL. If the value has another form, such as "bytes */1234", all three
/// are 0xFFFFFFFF.
[[nodiscard]] content_range_data content_range_of(std::string_view content_range);
/// Returns the decimal number at the beginning of `text`, as strtoul reads it with a 32-bit result: optional white
/// space, an optional sign, digits up to the first other byte. Returns 0 without digits and 0xFFFFFFFF for a number
/// that does not fit; "-1" gives 0xFFFFFFFF.
[[nodiscard]] std::uint32_t decimal_of(std::string_view text) noexcept;

} // namespace http
