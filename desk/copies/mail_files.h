#pragma once

#include "mail/files/mailbox.h"
#include "mail/mime/reading/message_reader.h"
#include "store/message_record.h"

#include <filesystem>
#include <memory>

namespace host {

/// Reads the message at a place, whatever its form, into a record of `store`. Windows knows Outlook message files only.
/// What an .eml file says in headers of this program's own counts if `author` is this program; an .msg file is believed
/// as it stands, as the mail client does. Raises unreadable_message, or std::runtime_error when the file itself cannot
/// be read.
message_record read_mail(const message_place& place, const std::shared_ptr<store_context>& store, written_by author);

/// Writes a message as a file of that form, whole or not at all. Raises an exception derived from std::exception with
/// the reason.
void write_mail(const message_record& message, mail_format format, const std::filesystem::path& file);

/// ".eml" or ".msg".
constexpr const char* extension_of(mail_format format)
{
    return format == mail_format::msg ? ".msg" : ".eml";
}

} // namespace host
