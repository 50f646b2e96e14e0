#pragma once

#include <string_view>

namespace web {

/// Transforms bytes between the wire and the receiver of a socket. Used by one thread a direction.
class byte_filter
{
public:
    /// Takes bytes that came from the wire.
    virtual void feed(const char* begin, const char* end) = 0;
    /// The next block for the receiver, good until the next call; false when more bytes are needed.
    virtual bool produce(std::string_view& block) = 0;
    /// What goes to the wire for a block of at most 16384 bytes; good until the next call.
    virtual std::string_view transform(const char* begin, const char* end) = 0;

protected:
    ~byte_filter() = default; // owned by whoever installs it
};

} // namespace web
