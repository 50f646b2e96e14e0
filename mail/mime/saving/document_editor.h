#pragma once

#include "mail/mime/text/mail_origin.h"
#include "mail/mime/writing/document_order.h"

#include <cstdint>
#include <optional>

namespace host {

/// The document of a message, and the order of its attachments there.
struct saved_text
{
    bytes_ptr text;
    document_order order;
    bool is_original = false; ///< nothing was changed
};

/// Returns the document that a message was read from, with the changes to subject, bodies and attachments that were
/// made since. Everything else is the original, byte by byte. `source` is that document, `base` its offset in the one
/// that was read. Returns nothing if the parts of the document are not those that were read.
std::optional<saved_text> edit_document(const message_record& message, const mail_origin& origin,
                                        const bytes_ptr& source, std::uint64_t base = 0);

} // namespace host
