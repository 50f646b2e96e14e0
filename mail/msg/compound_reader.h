#pragma once

#include "mail/msg/compound_structure.h"
#include "store/storage_tree.h"

namespace host::msg {

/// Returns the contents of a compound file. Streams of at least 4096 bytes remain in `file`. `structure` must be the
/// result of check_compound_file for the same bytes. Throws unreadable_message with the reason if a name is invalid.
storage_ptr read_storages(const bytes_ptr& file, const compound_structure& structure);

} // namespace host::msg
