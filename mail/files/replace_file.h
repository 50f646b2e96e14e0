#pragma once

#include <filesystem>

/// What replacing a file as a whole needs of the system. Failures raise std::filesystem::filesystem_error.
namespace host::replacing {

/// Makes an empty file; false when there is something of that name already.
bool create(const std::filesystem::path& file);

/// Whether the system would let this process write into the file that stands there.
bool is_writable(const std::filesystem::path& file);

/// Waits until what was written is on the disk.
void sync(const std::filesystem::path& file);

/// Gives `from` the name `to` in one step, also when something has that name, and makes the new name last.
void rename(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace host::replacing
