#pragma once

#include <filesystem>
#include <mutex>

namespace host {

/// A file or folder that must not outlive the process unless it is finished. It is listed from the constructor on, so
/// that a process that ends early can delete it.
class unfinished_path
{
public:
    /// Lists a path, which need not exist yet.
    explicit unfinished_path(std::filesystem::path path);
    unfinished_path(const unfinished_path&) = delete;
    unfinished_path& operator=(const unfinished_path&) = delete;
    /// Removes the path from the list, and leaves the file alone.
    ~unfinished_path();

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

private:
    std::filesystem::path path_;
};

/// Deletes everything that is listed, folders with their contents. While the returned lock is held, nothing can be
/// listed; a caller that ends the process keeps it.
[[nodiscard]] std::unique_lock<std::mutex> delete_unfinished_paths() noexcept;

} // namespace host
