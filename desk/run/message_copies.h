#pragma once

#include "mail/files/mailbox.h"
#include "store/message_record.h"

#include <memory>
#include <string>

namespace host {

/// The saved copy of one message.
class message_copy
{
public:
    /// Writes the message, over what was written before. Raises an exception derived from std::exception with the
    /// reason; the copy then stands as it was.
    virtual void write(const message_record& message) = 0;
    /// Reads what was written last. Raises as write() does.
    [[nodiscard]] virtual message_record read(const std::shared_ptr<store_context>& store) const = 0;
    virtual ~message_copy() = default;
};

/// Where the copies of opened messages go.
class message_copies
{
public:
    /// Takes a name for the copy of the message at `place`. Raises an exception derived from std::exception.
    virtual std::unique_ptr<message_copy> copy_of(const message_place& place) = 0;
    /// The folder, for people; empty when the copies don't outlast the process.
    [[nodiscard]] virtual std::string folder() const = 0;
    virtual ~message_copies() = default;
};

} // namespace host
