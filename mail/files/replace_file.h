#pragma once

#include <filesystem>

/// The system operations for replacing a file as a whole. Failures throw std::filesystem::filesystem_error.
namespace host::replacing {

/// Creates an empty file. Returns false if the name already exists.
bool create(const std::filesystem::path& file);

/// Returns true if this process may write to the existing file `file`.
bool is_writable(const std::filesystem::path& file);

/// Waits until the written data is on the disk.
void sync(const std::filesystem::path& file);

/// Renames `from` to `to` atomically, replacing an existing file, and makes the new name durable.
void rename(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace host::replacing
