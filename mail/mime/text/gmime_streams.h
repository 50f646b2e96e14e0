#pragma once

#include "mail/mime/text/content_source.h"
#include "mail/mime/text/document_sink.h"
#include "mail/mime/text/gmime_ptr.h"
#include "store/bytes.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

// The streams that GMime reads and writes.
namespace host {

/// The first exception that passed a stream. The library between the streams and their user is C and reports only that
/// something failed.
struct stream_failure
{
    std::exception_ptr first;

    /// Raises what was kept, if anything was.
    void raise() const
    {
        if (first) {
            std::rethrow_exception(first);
        }
    }
};

/// A stream that reads shared bytes. Its substreams are windows on the same bytes.
gobject_ptr<GMimeStream> make_bytes_stream(bytes_ptr source);

/// The bytes that a stream made by make_bytes_stream(), or a substream of it, shows; null for any other stream.
bytes_ptr bytes_behind(GMimeStream* stream);

/// The range of the source that such a stream shows.
std::optional<std::pair<std::uint64_t, std::uint64_t>> range_behind(GMimeStream* stream);

/// A stream that reads `content` from its beginning; it can be reset, but not sought. What the content raises is kept
/// in `failure`.
gobject_ptr<GMimeStream> make_source_stream(content_ptr content, std::shared_ptr<stream_failure> failure);

/// A stream that gives what is written to it to `sink`. What the sink raises is kept in `failure`.
gobject_ptr<GMimeStream> make_sink_stream(document_sink sink, std::shared_ptr<stream_failure> failure);

} // namespace host
