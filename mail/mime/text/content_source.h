#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstddef>
#include <memory>
#include <string>

namespace host {

/// Contents that are read sequentially and can be rewound to their beginning. Failures throw exceptions derived from
/// std::exception. Not thread-safe.
class content_source
{
public:
    /// Copies up to `count` bytes; returns the number of bytes read, 0 at the end.
    virtual std::size_t read(char* destination, std::size_t count) = 0;
    virtual void rewind() = 0;
    virtual ~content_source() = default;
};

using content_ptr = std::unique_ptr<content_source>;

/// Reads the bytes of a stream. Throws ComError with the stream's result if it fails.
content_ptr stream_content(ComPtr<IStream> stream);
/// Reads bytes in memory.
content_ptr text_content(std::string text);
/// Converts UTF-16LE to UTF-8; an unpaired surrogate becomes U+FFFD.
content_ptr utf8_content(content_ptr utf16le);
/// Converts bytes to quoted-printable text.
content_ptr quoted_content(content_ptr plain);

} // namespace host
