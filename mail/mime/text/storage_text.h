#pragma once

#include "store/storage_tree.h"

#include <string>
#include <string_view>

namespace host {

/// Serializes a storage with all its contents to one byte string.
std::string storage_text(const storage_tree& tree);
/// Parses such a byte string; returns null if it is invalid.
storage_ptr parse_storage_text(std::string_view text);

} // namespace host
