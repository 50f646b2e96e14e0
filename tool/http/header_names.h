#pragma once

#include <string_view>

namespace http {

/// The header names that the product uses. Lookup in a header table is case-insensitive.
namespace header_name {
inline constexpr std::string_view content_length = "Content-Length";
inline constexpr std::string_view transfer_encoding = "Transfer-Encoding";
inline constexpr std::string_view content_type = "Content-Type";
inline constexpr std::string_view host = "Host";
inline constexpr std::string_view content_encoding = "Content-Encoding";
inline constexpr std::string_view content_range = "Content-Range";
inline constexpr std::string_view cache_control = "Cache-Control";
inline constexpr std::string_view referer = "Referer";
inline constexpr std::string_view pragma = "Pragma";
inline constexpr std::string_view connection = "Connection";
inline constexpr std::string_view x_request_type = "X-RequestType";
} // namespace header_name

/// The value of Transfer-Encoding that specifies chunked framing.
inline constexpr std::string_view chunked_word = "chunked";

} // namespace http
