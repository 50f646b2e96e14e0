#pragma once

#include "broker/access_rules.h"

#include <filesystem>
#include <optional>
#include <string>

namespace packaging {

/// Makes the administrators the owner of a folder: any user can create one in the folder of the machine's program data,
/// ahead of the installation. Without the right to do so nothing is changed. Throws std::runtime_error if the folder is
/// a link: files would be written wherever a user has it lead.
void give_to_administrators(const std::filesystem::path& folder);

/// Returns the contents of a file that write_unless_present() would leave as it is; nothing if there is none, or if it
/// cannot be read. Throws std::exception.
[[nodiscard]] std::optional<std::string> present_contents(const std::filesystem::path& file,
                                                          const broker::access_rules& rules);

/// Returns true if there is a file that write_unless_present() would leave as it is. Throws std::exception.
[[nodiscard]] bool is_present(const std::filesystem::path& file, const broker::access_rules& rules);

/// Writes a file unless there is one, and a copy NAME.default beside it, which shows later whether it was changed. A
/// file that `rules` refuse is not the administrators': it is renamed to NAME.refused, and replaced. Returns true if
/// the file was written. Throws std::exception.
bool write_unless_present(const std::filesystem::path& file, const std::string& text,
                          const broker::access_rules& rules);

/// Removes a file unless it was changed, its copy, and the one that was refused in its place. Files that cannot be
/// removed remain.
void remove_unless_changed(const std::filesystem::path& file) noexcept;

/// Removes the files in a folder, and the folder if it is empty then. A link is removed itself, and not followed.
void remove_logs(const std::filesystem::path& folder) noexcept;

} // namespace packaging
