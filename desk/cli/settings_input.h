#pragma once

#include <filesystem>
#include <string>

namespace host {

/// A settings file that can be read any number of times. Standard input and pipes are read once, into a temporary file
/// that only this user can access and that is deleted with the object.
class settings_input
{
public:
    /// `file` may be "-" for standard input. Throws settings_file_error with the reason if a stream cannot be read.
    explicit settings_input(const std::string& file);
    settings_input(const settings_input&) = delete;
    settings_input& operator=(const settings_input&) = delete;
    ~settings_input();

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

private:
    void read_stream();

    std::filesystem::path path_;
    std::filesystem::path folder_; ///< of the temporary file; empty without one
};

} // namespace host
