#pragma once

#include "store/message_record.h"
#include "store/storage_tree.h"

namespace host::msg {

/// The root storage of the message file that holds `message`. What was read from a message file and not changed since
/// is written as it was. Raises std::runtime_error with the reason for what such a file cannot hold.
storage_ptr compose_message(const message_record& message);

} // namespace host::msg
