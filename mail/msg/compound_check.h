#pragma once

#include "store/bytes.h"

namespace host::msg {

/// Length of the longest way from the root to an entry of the directory, all neighbours on it counted.
inline constexpr std::size_t longest_way = 16384;
/// Parts that one storage may have: readers look for each from the first one on. A message file has 2048 recipients and
/// as many attachments at most.
inline constexpr std::size_t most_parts = 8192;

/// True when the bytes begin like a compound file.
bool begins_like_compound_file(const bytes& file);

/// Looks through the skeleton of a compound file before the system's reader gets it: all sectors of each stream must be
/// there, none may serve twice, and the directory must be a tree with different names in each storage, within the
/// limits above. Raises unreadable_message with the reason, for people. Reads no contents; memory and time are bounded
/// by the file's size. Returns the number of storages and streams below the root.
std::size_t check_compound_file(const bytes& file);

} // namespace host::msg
