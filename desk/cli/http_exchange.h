#pragma once

#include "store/bytes.h"
#include "tool/http/message.h"

#include <memory>

namespace host {

/// HTTP messages read from raw text.
struct http_exchange
{
    std::unique_ptr<http::message> request;
    std::unique_ptr<http::message> response; ///< null when only a request was wanted
};

/// Reads a request, and behind it, if wanted, the response to it: heads and bodies as they go over the wire. Raises
/// std::runtime_error for text that is not that.
http_exchange read_http(const bytes& text, bool with_response);

} // namespace host
