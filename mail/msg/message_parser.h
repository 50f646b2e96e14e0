#pragma once

#include "store/message_record.h"
#include "store/storage_tree.h"

#include <memory>

namespace host::msg {

/// Makes a record of `store` of the root storage of a message file. Embedded messages deeper than deepest_embedded stay
/// storages. Raises unreadable_message with the reason, for people.
message_record parse_message(const storage_tree& root, const std::shared_ptr<store_context>& store);

} // namespace host::msg
