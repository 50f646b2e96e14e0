#pragma once

#include "store/message_record.h"

#include <filesystem>
#include <memory>

namespace host {

/// Reads an Outlook message file into a record of `store`. Properties that are unknown to this program are preserved
/// byte for byte. Throws unreadable_message with a human-readable reason if the file is damaged or not an Outlook
/// message file.
message_record read_msg(const std::filesystem::path& file, const std::shared_ptr<store_context>& store);

/// Writes `message` as an Outlook message file, completely or not at all. Throws std::runtime_error with the reason.
void write_msg(const message_record& message, const std::filesystem::path& file);

} // namespace host
