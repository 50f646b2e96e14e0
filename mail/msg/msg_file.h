#pragma once

#include "store/message_record.h"

#include <filesystem>
#include <memory>

namespace host {

/// Reads an Outlook message file into a record of `store`. Properties that this program doesn't know are kept byte for
/// byte. Raises unreadable_message, with the reason for people, for a file that is none or is broken.
message_record read_msg(const std::filesystem::path& file, const std::shared_ptr<store_context>& store);

/// Writes `message` as an Outlook message file, whole or not at all. Raises std::runtime_error with the reason.
void write_msg(const message_record& message, const std::filesystem::path& file);

} // namespace host
