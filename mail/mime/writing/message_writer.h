#pragma once

#include "mail/mime/text/document_sink.h"
#include "outlook/qdmailprotect/mapi/mapi.h"
#include "store/message_record.h"

#include <filesystem>

namespace host {

/// Specifies the additional contents of a MIME document.
struct mime_document_options
{
    bool include_bcc = true;
    /// The program's own headers contain the data that MIME cannot express, such as the stored verdict, so that reading
    /// the document yields the same message.
    bool keep_properties = false;
};

/// Writes `message` piece by piece as an RFC 1521 document with quoted-printable bodies. Throws std::runtime_error with
/// the reason, and the exceptions of `sink`.
void write_mime(const message_record& message, const mime_document_options& options, const document_sink& sink);

/// Writes a message of any store, without the program's own headers. If the store fails, ComError is thrown with its
/// result.
void write_mime(IMessage& message, bool include_bcc, const document_sink& sink);

/// Writes `message` completely or not at all as an .eml file from which the same message can be read again. Throws
/// std::runtime_error with the reason.
void write_eml(const message_record& message, const std::filesystem::path& file);

} // namespace host
