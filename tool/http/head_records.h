#pragma once

#include "tool/http/fields.h"

#include <cstdint>

namespace http {

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

/// Makes the ranges of a record point into a copy of its head. `from` and `to` are the beginnings of head and copy.
void move_text(request_data& record, const char* from, const char* to) noexcept;
void move_text(response_data& record, const char* from, const char* to) noexcept;

/// Classification of a range of bytes as a head of one kind.
enum class head_status : std::uint32_t
{
    invalid = 1,  ///< the bytes are not a head of this kind and cannot become one
    complete = 2, ///< the range begins with a whole head
    partial = 3   ///< more bytes are needed to decide
};

} // namespace http
