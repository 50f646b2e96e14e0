#pragma once

#include "mail/mime/text/document_sink.h"
#include "mail/mime/writing/document_order.h"
#include "outlook/qdmailprotect/mapi/mapi.h"
#include "store/message_record.h"

namespace host {

/// Writes `message` piece by piece as an RFC 1521 document with quoted-printable bodies, without the program's own
/// headers. Returns the order of its attachments in the document. Throws std::runtime_error with the reason, and the
/// exceptions of `sink`.
document_order write_mime(const message_record& message, bool include_bcc, const document_sink& sink);

/// Writes a message of any store. If the store fails, ComError is thrown with its result.
void write_mime(IMessage& message, bool include_bcc, const document_sink& sink);

} // namespace host
