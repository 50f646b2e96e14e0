#pragma once

#include "tool/http/head_records.h"

#include <cstdint>

/// The grammars of all wire text, HTTP and ICAP: readers over a byte range [begin, end).
///
/// Input: the range need not contain a whole head, and may contain more. No byte outside of it is read. It must stay
/// valid as long as the record is used, because the record's ranges point into it.
///
/// Output: `parse_info::hit` reports a match at `begin`; bytes behind the match are ignored. A reader stores each field
/// as it passes it. A stored field remains when a later part fails, so the record of a failed parse shows how far the
/// text was understood. A field that was not reached keeps its former value; so the caller passes an empty record.
///
/// Errors: no text makes a reader throw. std::bad_alloc is possible, because the entries of the header table are
/// allocated.
///
/// Thread-safety: the functions share no state.
///
/// Example:
///
///     std::string_view text = "GET /index HTTP/1.1\r\nHost: example\r\n\r\nrest";
///     http::request_data head;
///     http::parse_info info = http::parse_http_request(text.data(), text.data() + text.size(), head);
///     // info.hit is true, info.stop points to "rest"
///     // head.method is "GET", head.uri "/index", head.version "1.1", head.fields.at("host") "example"
///
/// Tolerated in every head:
/// - LF, CR LF, CR CR LF, and blanks ahead of these, as a line end;
/// - any bytes but ":" between the first byte of a header's name and its colon, even a line end: a line without a colon
///   is joined with the next one, and "Name : x" has the name "Name ";
/// - control bytes, NUL and bytes above 0x7F in a header's value;
/// - folded header lines, whose line end and blanks remain in the value;
/// - an empty header value, and several headers of one name, of which the first counts;
/// - any version of one or more bytes in 0x21 to 0xFF.
///
/// Refused in every head:
/// - CR alone, as a line end or in a value;
/// - tabs ahead of a line end, except in a value or directly behind the status;
/// - a header name whose first byte is a separator, a control byte or above 0x7F;
/// - methods and protocol names in lower case.
namespace http {

/// The result of one parse.
struct parse_info
{
    bool hit = false;           ///< true if the range begins with a match
    const char* stop = nullptr; ///< end of the match; after a failure the position where the parse gave up
};

/// Type of a reader of request heads or response heads.
template <typename Record>
using head_grammar = parse_info (*)(const char* begin, const char* end, Record& record);

/// Reads an ICAP request head: REQMOD, OPTIONS or RESPMOD, a gap, the target, a gap, "ICAP/" and a version, a line end,
/// headers, a blank line. A gap is one or more blanks or tabs. The target is one or more bytes in 0x21 to 0xFF.
parse_info parse_icap_request(const char* begin, const char* end, request_data& out);
/// Reads an ICAP response head: "ICAP/" and a version, a gap, the status, blanks or tabs or none, the reason, a line
/// end, headers, a blank line. The status has exactly three digits; "20" and "2000" are refused. The reason is any
/// number of bytes in 0x20 to 0xFF, so it may be empty and has no tab: "ICAP/1.0 204" and "ICAP/1.0 204OK" match.
parse_info parse_icap_response(const char* begin, const char* end, response_data& out);
/// Reads an HTTP request head: a word of basic_methods(), dav_methods() or versioning_methods(), a gap, the URI, a gap,
/// "HTTP/" and a version, a line end, headers, a blank line. The URI is one or more bytes in 0x20 to 0xFF or 0x05, up
/// to the first blank behind which, after any blanks and tabs, "HTTP" follows: "/a b" is accepted, "/a HTTP" is not.
parse_info parse_http_request(const char* begin, const char* end, request_data& out);
/// Reads an HTTP request head with an unusual method: one or more bytes in "!" to "|" that are neither lower-case
/// letters nor separators. The URI is one or more bytes in 0x21 to 0xFF. The rest is as in parse_http_request().
/// `protocol` of the record is not stored.
parse_info parse_http_extension_request(const char* begin, const char* end, request_data& out);
/// Reads an HTTP response head. The form is that of parse_icap_response() with "HTTP/".
parse_info parse_http_response(const char* begin, const char* end, response_data& out);

/// A line of chunked framing.
struct chunk_line
{
    std::uint32_t size = 0; ///< payload bytes that follow; parse_last_chunk() does not store it
    range extension;        ///< the text from the first ";" to the line end
    range trailers;         ///< last chunk only: the trailer lines, each with its line end
};

/// Reads a chunk line: a hexadecimal number below 2^32 in any case of letters, blanks or tabs, an extension, a line
/// end. The extension is any number of ";", each followed by bytes in 0x20 to 0x7F; bytes above 0x7F and folds are
/// accepted only in a quoted value ("a;x=\"...\""). "a b" is refused. "0" is read as a size like any other.
parse_info parse_chunk_size(const char* begin, const char* end, chunk_line& out);
/// Reads the end of a chunked body: one or more "0", blanks or tabs, an extension, a line end, then trailer lines or
/// none and a blank line. Trailer lines that follow the blank line are part of the match too, with or without a second
/// blank line. So if another message follows directly in the range, its start is read as trailers.
///
/// "0A" and "0\r\n" do not match. For "0\r\n" `stop` is the end of the range, which means that more bytes are needed.
parse_info parse_last_chunk(const char* begin, const char* end, chunk_line& out);

/// Continues parse_last_chunk() at `begin`, the beginning of any trailer line that it or this function has read:
/// trailer lines or none, then a blank line. `out.trailers` receives the lines read here. `last_line` receives the
/// beginning of the last of them, or `begin`; the lines ahead of it are the same whatever follows the range, so that a
/// later call may begin there.
parse_info parse_last_chunk_lines(const char* begin, const char* end, chunk_line& out, const char*& last_line);

/// The parts of a URI, without the marks between them. An absent part is empty.
struct uri_data
{
    range scheme;
    range authority;
    range path;
    range query;
    range fragment;
};

/// Splits a URI "scheme://authority/path?query#fragment". All but the path may be absent; the path includes its leading
/// "/". A match ends at the first byte that fits no part, so that the caller compares `stop` with `end` if the whole
/// text must match.
///
/// The path contains letters, digits and "/" only, query and fragment letters and digits only: of "/a/b.html" the path
/// is "/a/b". Without "://" the scheme is the beginning of the text up to the first byte that a scheme cannot contain:
/// of "host:80/x" the scheme is "host" and the authority ":80".
parse_info parse_uri(const char* begin, const char* end, uri_data& out);

} // namespace http
