#pragma once

#include "mail/mime/text/gmime_ptr.h"
#include "store/bytes.h"

namespace host {

/// A GMime stream that reads shared bytes. Its substreams are windows on the same bytes.
gobject_ptr<GMimeStream> make_bytes_stream(bytes_ptr source);

/// The bytes that a stream made by make_bytes_stream(), or a substream of it, shows; null for any other stream.
bytes_ptr bytes_behind(GMimeStream* stream);

} // namespace host
