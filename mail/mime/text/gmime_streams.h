#pragma once

#include "mail/mime/text/content_source.h"
#include "mail/mime/text/document_sink.h"
#include "mail/mime/text/gmime_ptr.h"

#include <exception>
#include <memory>

namespace host {

/// The first exception that passed one of the streams below. The library between them is C and knows only that
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

/// A GMime stream that reads `content` from its beginning; it can be reset, but not sought. What the content raises is
/// kept in `failure`.
gobject_ptr<GMimeStream> make_source_stream(content_ptr content, std::shared_ptr<stream_failure> failure);

/// A GMime stream that gives what is written to it to `sink`. What the sink raises is kept in `failure`.
gobject_ptr<GMimeStream> make_sink_stream(document_sink sink, std::shared_ptr<stream_failure> failure);

} // namespace host
