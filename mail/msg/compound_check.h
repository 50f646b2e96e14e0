#pragma once

#include "mail/msg/compound_structure.h"
#include "store/bytes.h"

namespace host::msg {

/// The maximum length of the path from the root to a directory entry, including all siblings on it.
inline constexpr std::size_t longest_way = 16384;
/// The maximum number of parts of a storage: the system's reader searches for each part from the first one on. A
/// message file has at most 2048 recipients and as many attachments.
inline constexpr std::size_t most_parts = 8192;

/// Returns true if the bytes begin like a compound file.
bool begins_like_compound_file(const bytes& file);

/// Checks the structure of a compound file before it is passed to the system's reader: all sectors of each stream must
/// exist, no sector may be used twice, and the directory must be a tree with unique names in each storage, within the
/// limits above. Throws unreadable_message with a human-readable reason. Reads no contents; memory and time are bounded
/// by the size of the file.
compound_structure check_compound_file(const bytes& file);

} // namespace host::msg
