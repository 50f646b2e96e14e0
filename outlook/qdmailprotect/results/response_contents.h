#pragma once

#include <string>

namespace icap {
class message;
} // namespace icap

/// Returns true if the scanner's answer, which may be null, encapsulates an HTTP message.
bool HasContents(icap::message* response);

/// Returns the body of the encapsulated HTTP message; empty if there is none. Throws the exceptions of the body's
/// store.
std::string ReadContents(icap::message* response);
