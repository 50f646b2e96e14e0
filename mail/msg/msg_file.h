#pragma once

#include "store/message_record.h"

#include <filesystem>
#include <memory>

namespace host {

/// Reads an Outlook message file into a record of `store`. Properties that are unknown to this program are preserved
/// byte for byte. If a list of properties is cut off, a text has no stream, or recipients or attachments are missing,
/// the record contains the rest and is incomplete. Throws unreadable_message with a human-readable reason if the file
/// is damaged in another way or not an Outlook message file.
message_record read_msg(const std::filesystem::path& file, const std::shared_ptr<store_context>& store);
/// Reads the same from `contents`, which need not be in a file where the system can read them from memory (not on
/// Windows). `file` identifies the location that the message comes from.
message_record read_msg(const std::filesystem::path& file, const bytes_ptr& contents,
                        const std::shared_ptr<store_context>& store);

/// Writes `message` as an Outlook message file, completely or not at all. Throws std::runtime_error with the
/// reason, also if `message` is incomplete and `file` is the one that it was read from.
void write_msg(const message_record& message, const std::filesystem::path& file);

} // namespace host
