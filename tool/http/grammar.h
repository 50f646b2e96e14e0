#pragma once

#include "tool/http/head_records.h"

#include <cstdint>

/// The grammars of all wire text, HTTP and ICAP: hand-written readers over byte ranges. Nothing is allocated but the
/// entries of the header table, nothing is thrown by a text, and nothing is shared between calls.
///
/// A reader stores each field as it passes it. What was stored stays when a later part fails, so that the record of a
/// failed parse tells how far the text was understood; a field that was not reached keeps what it held before.
///
/// Tolerated: LF, CR LF, CR CR LF and blanks CR LF as line ends; junk between a header's name and its colon, even a
/// line end; control bytes and NUL in a header's value; folded header lines; an HTTP URI with blanks or the byte
/// 0x05 in it; any version. Refused: CR alone as a line end or in a value, a header name that begins with a separator
/// or a byte above 0x7F, a status of other than three digits, a tab in a reason, methods in lower case.
namespace http {

/// The result of one parse.
struct parse_info
{
    bool hit = false;           ///< the text begins with what the grammar describes
    const char* stop = nullptr; ///< end of the match; after a failure the place where the parse gave up
};

/// A grammar of request heads or response heads.
template <typename Record>
using head_grammar = parse_info (*)(const char* begin, const char* end, Record& record);

/// REQMOD, OPTIONS or RESPMOD, target, ICAP version, headers, blank line.
parse_info parse_icap_request(const char* begin, const char* end, request_data& out);
/// ICAP version, status, reason, headers, blank line.
parse_info parse_icap_response(const char* begin, const char* end, response_data& out);
/// A known method, URI, HTTP version, headers, blank line.
parse_info parse_http_request(const char* begin, const char* end, request_data& out);
/// Any word in capitals as the method, target without blanks, HTTP version, headers, blank line. The protocol is not
/// stored.
parse_info parse_http_extension_request(const char* begin, const char* end, request_data& out);
/// HTTP version, status, reason, headers, blank line.
parse_info parse_http_response(const char* begin, const char* end, response_data& out);

/// A line of chunked framing.
struct chunk_line
{
    std::uint32_t size = 0;
    range extension; ///< all that stands between the size and the line end
    range trailers;  ///< last chunk only: the header lines behind it
};

/// A hexadecimal number of at most 32 bits, an extension, a line end.
parse_info parse_chunk_size(const char* begin, const char* end, chunk_line& out);
/// Zeros, an extension, a line end, then trailers or none and a blank line. Trailers count also behind a blank line.
parse_info parse_last_chunk(const char* begin, const char* end, chunk_line& out);

/// The parts of a URI.
struct uri_data
{
    range scheme;
    range authority;
    range path;
    range query;
    range fragment;
};

/// A match needs a path. It ends at the first byte that fits no part; the caller only asks whether it matched. Without
/// "://" a scheme is what the text begins with, up to the first byte that a scheme can't hold.
parse_info parse_uri(const char* begin, const char* end, uri_data& out);

} // namespace http
