#pragma once

#include "mail/mime/text/gmime_ptr.h"
#include "store/message_record.h"

namespace host {

/// Sets the properties that are derived from the mail headers: subject, sender, recipients, times, identifiers,
/// importance, the header text itself, and the named property of the internet header "content-type". A header that is
/// missing or has no content creates no property. Sequences of encoded words in the message's headers are merged.
void set_header_properties(GMimeMessage* message, message_record& record);

} // namespace host
