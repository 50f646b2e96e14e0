#pragma once

#include <string>

namespace icap {
class message;
} // namespace icap

namespace web {
class io_data;
} // namespace web

/// Returns true if the scanner's answer, which may be null, encapsulates an HTTP message.
bool HasContents(icap::message* response);

/// Returns the body of the encapsulated HTTP message; empty if there is none. Throws the exceptions of the body's
/// store.
std::string ReadContents(icap::message* response);

/// Makes that body, which must exist, the whole contents of `target`. Throws the exceptions of both stores, and
/// std::runtime_error if one of them transfers less than its size.
void CopyContents(icap::message* response, web::io_data& target);
