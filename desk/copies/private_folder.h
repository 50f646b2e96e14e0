#pragma once

#include "mail/files/unfinished_path.h"

#include <filesystem>

namespace host {

/// A folder for temporary files that only the current user may access. It is deleted with the object, and by a process
/// that ends early.
class private_folder
{
public:
    /// Throws std::runtime_error with the reason.
    private_folder();
    private_folder(const private_folder&) = delete;
    private_folder& operator=(const private_folder&) = delete;
    ~private_folder();

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return listed_.path(); }

private:
    unfinished_path listed_;
};

} // namespace host
