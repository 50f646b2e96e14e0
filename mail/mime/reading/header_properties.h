#pragma once

#include "mail/mime/text/gmime_ptr.h"
#include "store/message_record.h"

namespace host {

/// Fills in what the mail headers tell: subject, sender, recipients, times, identifiers, importance, the header text
/// itself, and the named property of the internet header "content-type". A header that is missing, or that says
/// nothing, leaves no property. Rows of encoded words in the message's headers are joined.
void set_header_properties(GMimeMessage* message, message_record& record);

} // namespace host
