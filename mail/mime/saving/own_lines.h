#pragma once

#include "mail/mime/writing/document_order.h"
#include "store/message_record.h"

#include <optional>
#include <string>

namespace host {

/// Returns the headers of this program that turn `document`, the message that its document yields, into `message`.
/// Lines end in LF. `order` contains the attachments of `message` in the order of the document. Returns nothing if the
/// document does not have these attachments.
std::optional<std::string> own_lines(const message_record& message, const message_record& document,
                                     const document_order& order);

} // namespace host
