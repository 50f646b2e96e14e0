#pragma once

#include "mail/mime/text/content_source.h"
#include "mail/mime/text/document_sink.h"
#include "mail/mime/text/gmime_ptr.h"

#include <exception>
#include <memory>

namespace host {

/// The first exception of one of the streams below. It is stored because the C library between them only reports that
/// an operation failed.
struct stream_failure
{
    std::exception_ptr first;

    /// Throws the stored exception, if any.
    void raise() const
    {
        if (first) {
            std::rethrow_exception(first);
        }
    }
};

/// Creates a GMime stream that reads `content` from its beginning. It can be reset but not sought. An exception of the
/// content is stored in `failure`.
gobject_ptr<GMimeStream> make_source_stream(content_ptr content, std::shared_ptr<stream_failure> failure);

/// Creates a GMime stream that passes written data to `sink`. An exception of the sink is stored in `failure`.
gobject_ptr<GMimeStream> make_sink_stream(document_sink sink, std::shared_ptr<stream_failure> failure);

} // namespace host
