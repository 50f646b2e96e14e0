#pragma once

#include "store/message_record.h"
#include "store/storage_tree.h"

#include <memory>

namespace host::msg {

/// Creates a record of `store` from the root storage of a message file. Embedded messages deeper than deepest_embedded
/// remain storages. Throws unreadable_message with a human-readable reason.
message_record parse_message(const storage_tree& root, const std::shared_ptr<store_context>& store);

} // namespace host::msg
