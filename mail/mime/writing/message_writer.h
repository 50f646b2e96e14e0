#pragma once

#include "mail/mime/text/document_sink.h"
#include "outlook/qdmailprotect/mapi/mapi.h"
#include "store/message_record.h"

#include <filesystem>

namespace host {

/// What a MIME document of a message holds besides what every reader knows.
struct mime_document_options
{
    bool include_bcc = true;
    /// Headers of our own carry what MIME has no word for, such as the stored verdict, so that reading the document
    /// again gives the same message.
    bool keep_properties = false;
};

/// Writes `message` as an RFC 1521 document with quoted-printable bodies, piece by piece as it is made. Raises
/// std::runtime_error with the reason, and what `sink` raises.
void write_mime(const message_record& message, const mime_document_options& options, const document_sink& sink);

/// The same for a message of any store, without headers of our own. A store that fails raises ComError with its result.
void write_mime(IMessage& message, bool include_bcc, const document_sink& sink);

/// Writes `message` as an .eml file with all that reading it again needs, whole or not at all. Raises
/// std::runtime_error with the reason.
void write_eml(const message_record& message, const std::filesystem::path& file);

} // namespace host
