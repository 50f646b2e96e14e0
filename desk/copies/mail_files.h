#pragma once

#include "mail/files/mailbox.h"
#include "mail/mime/reading/message_reader.h"
#include "store/message_record.h"

#include <filesystem>
#include <memory>

namespace host {

/// Reads the message at a place, in any supported form, into a record of `store`. On Windows only Outlook message files
/// are supported. The headers of this program in an .eml file are evaluated only if `author` is this program; an .msg
/// file is always trusted, as the mail client does. Throws unreadable_message, or std::runtime_error if the file itself
/// cannot be read.
message_record read_mail(const message_place& place, const std::shared_ptr<store_context>& store, written_by author);

/// Writes a message as a file of that form, completely or not at all. Throws an exception derived from std::exception
/// with the reason.
void write_mail(const message_record& message, mail_format format, const std::filesystem::path& file);

/// Returns ".eml" or ".msg".
constexpr const char* extension_of(mail_format format)
{
    return format == mail_format::msg ? ".msg" : ".eml";
}

} // namespace host
