#pragma once

#include "store/bytes.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace host {

/// Where one message is: a file of its own, or a range of an mbox.
struct message_place
{
    std::filesystem::path file;
    std::uint64_t offset = 0;
    std::uint64_t size = ~0ULL; ///< all ones: up to the end
    std::size_t number = 0;     ///< in its mbox, counted from 1; 0 for a file of its own

    /// The file's name, with "#" and the number for a message of an mbox.
    [[nodiscard]] std::string name() const;
};

/// The forms that one message has on disk.
enum class mail_format
{
    eml, ///< a MIME document
    msg  ///< an Outlook message file
};

/// The form of the message at a place: an Outlook message file begins as a compound file does, or its name ends
/// in ".msg".
mail_format format_of(const message_place& place);

/// The messages that a path names: a file is one message, or all those of an mbox (its name ends in ".mbox" or ".mbx",
/// or it begins with an envelope line and holds a further one); a folder is all its files that end in ".eml", ".msg",
/// ".mbox" or ".mbx", by name, without the folders, pipes and devices in it. A file that cannot be read is one message.
/// Raises std::runtime_error with the reason when there is no such path or the folder cannot be read.
std::vector<message_place> find_messages(const std::filesystem::path& path);

/// The bytes of a message in MIME; of an mbox, without the envelope line and with its quoted lines as they were. Raises
/// std::runtime_error when the file cannot be read.
bytes_ptr open_message(const message_place& place);

} // namespace host
