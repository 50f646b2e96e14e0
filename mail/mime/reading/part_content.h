#pragma once

#include "mail/mime/text/gmime_ptr.h"
#include "store/bytes.h"

namespace host {

/// The contents of a part with its transfer encoding taken off; damage in the encoding is skipped. Contents that aren't
/// encoded are a window on the message's own bytes. Never null.
bytes_ptr part_content(GMimePart* part);

/// The decoded contents of a text part in UTF-8, by its charset parameter.
std::string part_text(GMimePart* part);

/// The charset parameter; empty when there is none.
std::string charset_of(GMimePart* part);

} // namespace host
