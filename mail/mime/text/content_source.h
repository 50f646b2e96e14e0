#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstddef>
#include <memory>
#include <string>

namespace host {

/// Contents that are read once from the front to the back, piece by piece, and again after a rewind. Failures raise
/// exceptions derived from std::exception. One thread at a time.
class content_source
{
public:
    /// Copies up to `count` bytes; returns the count read, 0 at the end.
    virtual std::size_t read(char* destination, std::size_t count) = 0;
    virtual void rewind() = 0;
    virtual ~content_source() = default;
};

using content_ptr = std::unique_ptr<content_source>;

/// The bytes of a stream. A failing stream raises ComError with its result.
content_ptr stream_content(ComPtr<IStream> stream);
/// Bytes in memory.
content_ptr text_content(std::string text);
/// UTF-16LE as UTF-8; an unpaired half of a character becomes U+FFFD.
content_ptr utf8_content(content_ptr utf16le);
/// The same bytes as quoted-printable text.
content_ptr quoted_content(content_ptr plain);

} // namespace host
