#pragma once

#include <cstdint>
#include <map>
#include <string_view>

namespace http {

/// A part of a head's text: pointer and length into the raw head buffer. It does not own the text and becomes invalid
/// with the buffer.
using range = std::string_view;

/// Order of header names: ASCII case-insensitive over the length that both share; if that part is equal, the shorter
/// name comes first. An empty name is equivalent to every name; the grammars never produce one.
struct field_less
{
    using is_transparent = void;
    bool operator()(range left, range right) const noexcept;
};

/// Header table, ordered by name. insert() and emplace() keep an existing entry, so that of several lines of one name
/// the first counts. find("host") finds "Host".
using fields = std::map<range, range, field_less>;

/// The start line and the headers of a request. The ranges point into the text that was parsed.
struct request_data
{
    range protocol;      ///< "ICAP" or "HTTP"; empty for a request with an unusual method
    range method;        ///< in the form in which it was received; the grammars accept capitals only
    range uri;           ///< the target, neither decoded nor normalised
    range version;       ///< the text behind "ICAP/" or "HTTP/", such as "1.0"
    http::fields fields; ///< names and values; values keep folds and trailing blanks
};

/// The start line and the headers of a response. The ranges point into the text that was parsed.
struct response_data
{
    range protocol;
    range version;
    std::uint32_t status = 0; ///< 0 to 999; 0 before a status was read
    range reason;             ///< the text behind the status, with trailing blanks; may be empty
    http::fields fields;
};

/// Classification of a range of bytes as a head of one kind.
enum class head_status : std::uint32_t
{
    invalid = 1,  ///< the bytes are not a head of this kind and cannot become one
    complete = 2, ///< the range begins with a whole head
    partial = 3   ///< more bytes are needed to decide
};

} // namespace http
