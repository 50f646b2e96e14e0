#pragma once

#include <filesystem>

namespace host {

/// Creates an empty file. Returns false if the name already exists. Throws std::runtime_error with the reason.
bool make_new_file(const std::filesystem::path& file);

/// Renames a file to a name in the same folder. Returns false, and changes nothing, if that name already exists. Throws
/// std::runtime_error with the reason.
bool rename_to_new(const std::filesystem::path& from, const std::filesystem::path& to);

/// Creates a folder below the folder for temporary files that only the current user may access. Throws
/// std::runtime_error with the reason.
std::filesystem::path make_private_folder();

} // namespace host
