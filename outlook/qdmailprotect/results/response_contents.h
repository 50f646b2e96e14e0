#pragma once

#include <string>

namespace icap {
class message;
} // namespace icap

/// True if the scanner's answer, which may be null, encapsulates an HTTP message.
bool HasContents(icap::message* response);

/// The body of the encapsulated HTTP message; empty without one. Raises what the body's store raises.
std::string ReadContents(icap::message* response);
