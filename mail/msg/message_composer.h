#pragma once

#include "store/message_record.h"
#include "store/storage_tree.h"

namespace host::msg {

/// Creates the root storage of the message file for `message`. Unchanged data from a message file is written in its
/// original form. Throws std::runtime_error with the reason if the contents cannot be stored in such a file.
storage_ptr compose_message(const message_record& message);

} // namespace host::msg
