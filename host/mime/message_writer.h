#pragma once

#include "host/store/records.h"

#include <filesystem>
#include <functional>
#include <string_view>

namespace host {

/// Takes a document piece by piece.
using document_sink = std::function<void(std::string_view piece)>;

/// What a MIME document of a message holds besides what every reader knows.
struct mime_document_options
{
    bool include_bcc = true;
    /// Headers of our own carry what MIME has no word for, such as the stored verdict, so that reading the document
    /// again gives the same message.
    bool keep_properties = false;
};

/// Writes `message` as an RFC 1521 document with quoted-printable bodies. Raises std::runtime_error with the reason.
void write_mime(const message_record& message, const mime_document_options& options, const document_sink& sink);

/// Writes `message` as an .eml file with all that reading it again needs, whole or not at all.
void write_eml(const message_record& message, const std::filesystem::path& file);

} // namespace host
