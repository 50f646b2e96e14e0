#pragma once

#include "mail/files/mailbox.h"
#include "mail/inputs/byte_stream.h"
#include "mail/inputs/folder_walk.h"

#include <cstddef>
#include <cstdint>
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

/// Messages that are returned one at a time.
class message_source
{
public:
    /// Returns the next message; nullopt at the end. Throws unreadable_input for each input that cannot be read; the
    /// next call goes on behind it.
    virtual std::optional<message_place> next() = 0;
    /// Returns the number of bytes of the messages that were returned, as they are on disk.
    [[nodiscard]] virtual std::uint64_t position() const { return 0; }
    virtual ~message_source() = default;
};

/// Specifies how inputs are read.
struct finding_options
{
    bool recursive = false; ///< includes the folders in a folder
    stream_limits limits;
};

/// Returns the messages at paths. What a file is depends on its contents: an mbox if it begins with an envelope line
/// and contains another one, or if its name ends in ".mbox" or ".mbx"; otherwise one message. A folder consists of the
/// files that folder_walk returns. "-" is standard input, and a path may be a pipe: both are read once, from the
/// beginning to the end. At most one message is held in memory or in a temporary file at a time.
class message_finder final : public message_source
{
public:
    message_finder(std::vector<std::string> paths, finding_options options);
    message_finder(const message_finder&) = delete;
    message_finder& operator=(const message_finder&) = delete;
    ~message_finder() override;

    std::optional<message_place> next() override;
    [[nodiscard]] std::uint64_t position() const override;

private:
    class opened_file;

    std::optional<message_place> next_of_file();
    /// Goes on to the next file of the folder, or leaves it.
    void begin_file_of_folder();
    void begin_path(const std::string& path);
    void begin_file(const std::filesystem::path& file);

    std::vector<std::string> paths_;
    finding_options options_;
    std::size_t begun_ = 0;               ///< number of paths
    std::unique_ptr<folder_walk> folder_; ///< null outside of a folder
    bool folder_is_empty_ = true;
    std::unique_ptr<opened_file> file_; ///< null between two files
    std::uint64_t finished_ = 0;        ///< bytes of the files before
};

} // namespace host
