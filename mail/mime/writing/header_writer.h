#pragma once

#include "mail/mime/text/gmime_ptr.h"
#include "outlook/qdmailprotect/mapi/mapi.h"

namespace host {

/// Writes the mail headers of a message: its original headers, except for those that are derived from its properties:
/// sender, recipients by the recipient table, subject, times, identifiers, importance. Throws ComError.
void write_headers(IMessage& message, bool include_bcc, GMimeMessage* document);

} // namespace host
