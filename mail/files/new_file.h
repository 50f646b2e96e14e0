#pragma once

#include <filesystem>

namespace host {

/// Makes an empty file; false when there is something of that name. Raises std::runtime_error with the reason.
bool make_new_file(const std::filesystem::path& file);

/// Makes a folder among the temporary ones that only this user may look into. Raises std::runtime_error with the
/// reason.
std::filesystem::path make_private_folder();

} // namespace host
