#pragma once

#include "mail/msg/compound_structure.h"
#include "store/storage_tree.h"

#include <cstdint>
#include <vector>

namespace host::msg {

/// An entry of a directory that will be written.
struct planned_entry
{
    directory_entry entry;           ///< `start` is not set
    bool black = true;               ///< in the tree of its siblings
    const bytes* contents = nullptr; ///< of a stream
};

/// Returns the directory for a storage and its contents, the root first. The siblings of each storage are a balanced
/// red-black tree, in the order of the format: shorter names first, names of one length by their letters in upper case.
/// `contents` must outlive the result. Throws std::runtime_error if a name is too long for the format.
std::vector<planned_entry> plan_directory(const storage_tree& contents);

} // namespace host::msg
