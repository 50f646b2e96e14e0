#pragma once

#include "mail/inputs/folder_names.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// Specifies which files of a folder are returned. Hidden ones, pipes and devices never are.
enum class wanted_files
{
    mail, ///< those that are messages or mailboxes by the kind of their folder, their name or their first line
    all
};

/// The way in which a folder holds messages.
enum class folder_kind
{
    plain,
    maildir,      ///< has the folders "cur", "new" and "tmp"
    maildir_part, ///< "cur" or "new" of a Maildir: each file is a message
    mh            ///< has numbered messages
};

/// The order of the files of a folder, and of the folders in it.
enum class walk_order
{
    sorted, ///< by name; those of an MH folder by number
    as_read ///< that of the file system: faster for large folders, since each is read only twice
};

/// Returns the kind of an existing folder.
folder_kind kind_of_folder(const std::filesystem::path& folder);

/// Returns the files of a folder, one at a time: first its own, then those of each folder in it, if these are
/// included. Links to folders and hidden folders are left out. Of a Maildir the folders "cur" and "new" are
/// always included, "tmp" never is, and its hidden folders are included if they are Maildirs too.
class folder_walk
{
public:
    folder_walk(const std::filesystem::path& folder, bool recursive, wanted_files wanted,
                walk_order order = walk_order::sorted);
    folder_walk(const folder_walk&) = delete;
    folder_walk& operator=(const folder_walk&) = delete;
    ~folder_walk() = default;

    /// Returns the next file; nullopt at the end. Throws std::runtime_error with the reason if a folder cannot be read,
    /// after which place() is that folder; the next call goes on behind it.
    std::optional<std::filesystem::path> next();
    /// Returns the folder of the last file or error.
    [[nodiscard]] const std::filesystem::path& place() const noexcept { return place_; }
    /// Returns true if the walk left out folders because it is not recursive.
    [[nodiscard]] bool left_out_folders() const noexcept { return left_out_folders_; }

private:
    struct level
    {
        std::filesystem::path folder;
        folder_names files;
        folder_names folders;
    };

    void enter(const std::filesystem::path& folder);
    [[nodiscard]] bool is_wanted_folder(const std::filesystem::directory_entry& entry, folder_kind kind);
    /// Returns the next file of the last level. Without one, goes on to the next folder within the level, or leaves it.
    std::optional<std::filesystem::path> next_of_level();

    bool recursive_;
    wanted_files wanted_;
    walk_order order_;
    std::vector<level> levels_;
    std::filesystem::path place_;
    bool left_out_folders_ = false;
};

} // namespace host
