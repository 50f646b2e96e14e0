#pragma once

#include <string_view>

namespace web {

/// Transforms bytes between the wire and the receiver of a socket. Each direction is used by one thread.
class byte_filter
{
public:
    /// Takes bytes from the wire.
    virtual void feed(const char* begin, const char* end) = 0;
    /// Returns the next block for the receiver, valid until the next call; false if more bytes are needed.
    virtual bool produce(std::string_view& block) = 0;
    /// Returns the bytes to send for a block of at most 16384 bytes; valid until the next call.
    virtual std::string_view transform(const char* begin, const char* end) = 0;

protected:
    ~byte_filter() = default; // owned by the object that installs it
};

} // namespace web
