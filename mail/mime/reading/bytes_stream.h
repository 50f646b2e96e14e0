#pragma once

#include "mail/mime/text/gmime_ptr.h"
#include "store/bytes.h"

namespace host {

/// Creates a GMime stream that reads shared bytes. Its substreams are windows on the same bytes.
gobject_ptr<GMimeStream> make_bytes_stream(bytes_ptr source);

/// Returns the bytes of a stream that make_bytes_stream() created, or of a substream of it; null for any other stream.
bytes_ptr bytes_behind(GMimeStream* stream);

} // namespace host
