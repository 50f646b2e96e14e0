#pragma once

#include "mail/mime/text/gmime_ptr.h"
#include "store/bytes.h"
#include "store/property_value.h"

namespace host {

/// Returns the contents of a part without its transfer encoding; damaged parts of the encoding are skipped. Contents
/// without encoding are a window on the message's bytes. Never returns null.
bytes_ptr part_content(GMimePart* part);

/// Returns the decoded contents of a text part in UTF-8, converted from its charset parameter.
std::string part_text(GMimePart* part);
/// Returns the text of a part as a value, without holding a long one in memory.
property_value part_text_value(GMimePart* part);

/// Returns the charset parameter; empty if there is none.
std::string charset_of(GMimePart* part);

} // namespace host
