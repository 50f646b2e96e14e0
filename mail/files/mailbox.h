#pragma once

#include "store/bytes.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace host {

/// The location of a message: a file of its own or a range of an mbox.
struct message_place
{
    std::filesystem::path file;
    std::uint64_t offset = 0;
    std::uint64_t size = ~0ULL; ///< all ones: up to the end
    std::size_t number = 0;     ///< index in its mbox, starting at 1; 0 for a file of its own

    /// Returns the name of the file, followed by "#" and the number for a message of an mbox.
    [[nodiscard]] std::string name() const;
};

/// The format of a message on disk.
enum class mail_format
{
    eml, ///< a MIME document
    msg  ///< an Outlook message file
};

/// Returns the format of the message at a place. It is an Outlook message file if it begins like a compound file or if
/// its name ends in ".msg".
mail_format format_of(const message_place& place);

/// Returns the messages at `path`. A file is one message, or all messages of an mbox if its name ends in ".mbox" or
/// ".mbx" or if it begins with an envelope line and contains another one. A folder consists of its files that end in
/// ".eml", ".msg", ".mbox" or ".mbx", sorted by name, without its subfolders, pipes and devices. A file that cannot be
/// read is one message. Throws std::runtime_error with the reason if the path does not exist or the folder cannot be
/// read.
std::vector<message_place> find_messages(const std::filesystem::path& path);

/// Returns the bytes of a MIME message. For a message of an mbox the envelope line is removed and quoted lines are
/// unquoted. Throws std::runtime_error if the file cannot be read.
bytes_ptr open_message(const message_place& place);

} // namespace host
