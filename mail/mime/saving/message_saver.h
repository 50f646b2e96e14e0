#pragma once

#include "mail/mime/text/document_sink.h"
#include "store/message_record.h"

#include <filesystem>

namespace host {

/// Writes `message` piece by piece as a document from which the same message can be read again: the document that it
/// was read from, with the changes that were made since, or a new one if there is none. The headers of this program,
/// which contain what the document does not express, precede it. Throws std::runtime_error with the reason, and the
/// exceptions of `sink`.
void save_message(const message_record& message, const document_sink& sink);

/// Writes such a document completely or not at all as an .eml file. Throws std::runtime_error with the reason.
void write_eml(const message_record& message, const std::filesystem::path& file);

} // namespace host
