#pragma once

#include "mail/files/mailbox.h"
#include "mail/inputs/byte_stream.h"
#include "mail/inputs/input_files.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// Messages that are returned one at a time.
class message_source
{
public:
    /// Returns the next message; nullopt at the end. Throws unreadable_input for each input that cannot be read; the
    /// next call goes on behind it. Throws reading_given_up if a read was ended.
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

    /// Returns the next message of the file that is open; without one, closes the file.
    std::optional<message_place> next_of_file();

    input_files files_;
    stream_limits limits_;
    std::unique_ptr<opened_file> file_; ///< null between two files
    std::uint64_t finished_ = 0;        ///< bytes of the files before
};

} // namespace host
