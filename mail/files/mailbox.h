#pragma once

#include "store/bytes.h"

#include <cstddef>
#include <filesystem>
#include <string>

namespace host {

/// The location of a message: a file of its own, or a part of an mbox or of a stream.
struct message_place
{
    std::filesystem::path file; ///< "-" for standard input
    bytes_ptr contents;         ///< null: those of the file, which can be read any number of times
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

/// Returns the format of the message at a place. It is an Outlook message file if it begins like a compound file, or if
/// its name ends in ".msg" and it does not begin like a MIME document.
mail_format format_of(const message_place& place);

/// Returns the bytes of a message. Throws std::runtime_error if its file cannot be read.
bytes_ptr open_message(const message_place& place);

} // namespace host
