#pragma once

#include "mail/msg/compound_structure.h"
#include "store/storage_tree.h"

#include <filesystem>

namespace host::msg {

/// Reads a compound file. Streams of at least 4096 bytes remain in the file or are copied to temporary files; the file
/// may be replaced by another one meanwhile, but not modified. Throws unreadable_message with a human-readable reason
/// if the file is damaged or not a compound file, and std::runtime_error if the system reports an error.
storage_ptr read_compound_file(const std::filesystem::path& file);
/// Reads the same from `contents`, which are the bytes of `file`, or of a message that has no file where the system can
/// read one from memory (not on Windows).
storage_ptr read_compound_file(const std::filesystem::path& file, bytes_ptr contents);

/// Writes a compound file and overwrites an existing one. Throws std::runtime_error with the reason: for contents that
/// could not be read again before anything is written, otherwise with the file left damaged.
void write_compound_file(const storage_tree& contents, const std::filesystem::path& file);

/// The parts of these functions that differ between systems. `contents` are the bytes of a file that has passed
/// check_compound_file, which returned `structure`.
storage_ptr load_storage(const std::filesystem::path& file, const bytes_ptr& contents,
                         const compound_structure& structure);
void save_storage(const storage_tree& contents, const std::filesystem::path& file);

} // namespace host::msg
