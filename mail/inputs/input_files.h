#pragma once

#include "mail/inputs/byte_stream.h"
#include "mail/inputs/folder_walk.h"
#include "store/bytes.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace host {

/// An input that cannot be read. what() contains the reason, without the name.
class unreadable_input : public std::runtime_error
{
public:
    unreadable_input(std::string name, const std::string& reason)
        : std::runtime_error(reason)
        , name_(std::move(name))
    {}
    [[nodiscard]] const std::string& name() const noexcept { return name_; }

private:
    std::string name_;
};

/// Returns the files at paths, one at a time: those that folder_walk returns for a folder, and each other path itself,
/// also "-" for standard input.
class input_files
{
public:
    input_files(std::vector<std::string> paths, bool recursive, wanted_files wanted);

    /// Returns the next file; nullopt at the end. Throws unreadable_input for a path that does not exist, and for a
    /// folder that cannot be read or without a file; the next call goes on behind it.
    std::optional<std::filesystem::path> next();

private:
    std::optional<std::filesystem::path> next_of_folder();
    /// Returns the path unless it is a folder, which is begun.
    std::optional<std::filesystem::path> begin(const std::string& path);

    std::vector<std::string> paths_;
    bool recursive_;
    wanted_files wanted_;
    std::size_t begun_ = 0;               ///< number of paths
    std::unique_ptr<folder_walk> folder_; ///< null outside of a folder
    bool folder_is_empty_ = true;
};

/// Returns the bytes of a file of any kind. An ordinary one stays open for their lifetime; the bytes of others are read
/// to the end. Throws std::runtime_error with the reason.
bytes_ptr bytes_of_input(const std::filesystem::path& file, const stream_limits& limits);

} // namespace host
