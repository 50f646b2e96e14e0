#pragma once

#include "store/bytes.h"
#include "tool/http/message.h"

#include <memory>

namespace host {

/// HTTP messages parsed from raw text.
struct http_exchange
{
    std::unique_ptr<http::message> request;
    std::unique_ptr<http::message> response; ///< null if only a request was read
};

/// Parses a request and, if `with_response` is set, the response that follows it: heads and bodies in wire format.
/// Throws std::runtime_error if the text has another form.
http_exchange read_http(const bytes& text, bool with_response);

} // namespace host
