#pragma once

#include "desk/copies/private_folder.h"

#include <filesystem>
#include <optional>
#include <string>

namespace host {

/// A settings file that can be read any number of times. Standard input and pipes are read once, into a temporary file
/// that only this user can access and that is deleted with the object.
class settings_input
{
public:
    /// `file` may be "-" for standard input. Throws settings_file_error with the reason if a stream cannot be read.
    explicit settings_input(const std::string& file);

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

private:
    void read_stream();

    std::filesystem::path path_;
    std::optional<private_folder> folder_; ///< of the temporary file
};

} // namespace host
