#pragma once

#include "store/storage_tree.h"

#include <string>
#include <string_view>

namespace host {

/// A storage with everything in it as one text of bytes.
std::string storage_text(const storage_tree& tree);
/// The storage of such a text; null for anything else.
storage_ptr parse_storage_text(std::string_view text);

} // namespace host
