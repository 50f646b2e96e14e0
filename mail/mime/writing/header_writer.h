#pragma once

#include "mail/mime/text/gmime_ptr.h"
#include "outlook/qdmailprotect/mapi/mapi.h"

namespace host {

/// Writes the mail headers of a message: those that it came with, but for what its properties tell, which follows from
/// them: sender, recipients by the recipient table, subject, times, identifiers, importance. Raises ComError.
void write_headers(IMessage& message, bool include_bcc, GMimeMessage* document);

} // namespace host
