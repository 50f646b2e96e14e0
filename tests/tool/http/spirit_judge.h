#pragma once

#include "tool/http/grammar.h"

#include <string>
#include <string_view>

/// A second reader of all wire text: the same rules, written as Boost.Spirit classic parsers. It judges the readers of
/// tool/http: both must agree on the match, on the position where a parse stopped and on every stored field, even after
/// a failed parse. Not thread-safe.
namespace judge {

http::parse_info parse_icap_request(const char* begin, const char* end, http::request_data& out);
http::parse_info parse_icap_response(const char* begin, const char* end, http::response_data& out);
http::parse_info parse_http_request(const char* begin, const char* end, http::request_data& out);
http::parse_info parse_http_extension_request(const char* begin, const char* end, http::request_data& out);
http::parse_info parse_http_response(const char* begin, const char* end, http::response_data& out);
http::parse_info parse_chunk_size(const char* begin, const char* end, http::chunk_line& out);
http::parse_info parse_last_chunk(const char* begin, const char* end, http::chunk_line& out);
http::parse_info parse_uri(const char* begin, const char* end, http::uri_data& out);

/// Runs all grammars of both readers over a text. Returns an empty string if they agree, otherwise the first
/// difference. `hits` counts the grammars that matched.
std::string difference(std::string_view text, unsigned& hits);

} // namespace judge
