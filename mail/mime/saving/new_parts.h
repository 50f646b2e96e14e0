#pragma once

#include "mail/mime/tree/draft.h"
#include "mail/mime/writing/document_order.h"
#include "store/message_record.h"

#include <string>

namespace host {

/// Returns a part with the plain body of a message.
draft_ptr plain_part(const message_record& message, const std::string& line_end);
/// Returns a part with the HTML body of a message in its own character set.
draft_ptr html_part(const message_record& message, const std::string& line_end);
/// Returns a part with an attachment. `inside` receives the order of the attachments of an attached message.
draft_ptr attachment_part(const message_record& message, std::uint32_t number, const std::string& line_end,
                          document_order& inside);
/// Returns the name of an attachment in UTF-8, without control characters; empty if it has none.
std::string name_of(const attachment_record& attachment);

/// Returns the text with this line end in place of LF.
std::string with_line_end(std::string_view text, const std::string& line_end);

} // namespace host
