#pragma once

#include "store/storage_tree.h"

#include <filesystem>

namespace host::msg {

/// Reads a compound file. Streams of at least 4096 bytes stay in the file or go to temporary files; the file may be
/// replaced by another one meanwhile, but not changed. Raises unreadable_message with the reason, for people, for a
/// file that is no compound file or a damaged one, and std::runtime_error when the system refuses.
storage_ptr read_compound_file(const std::filesystem::path& file);

/// Writes a compound file over what is there. Raises std::runtime_error with the reason: before anything is written,
/// for contents that could not be read again; otherwise the file is damaged then.
void write_compound_file(const storage_tree& contents, const std::filesystem::path& file);

/// What the system's compound file library does for these two. `bytes` are those of a file that was found sound.
storage_ptr load_storage(const std::filesystem::path& file, const bytes_ptr& contents);
void save_storage(const storage_tree& contents, const std::filesystem::path& file);

} // namespace host::msg
