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
    /// Writes the message and overwrites the previous version. Throws an exception derived from std::exception with the
    /// reason; the copy is then unchanged.
    virtual void write(const message_record& message) = 0;
    /// Reads the version that was written last. Throws the same exceptions as write().
    [[nodiscard]] virtual message_record read(const std::shared_ptr<store_context>& store) const = 0;
    virtual ~message_copy() = default;
};

/// The destination of the copies of opened messages.
class message_copies
{
public:
    /// Reserves a name for the copy of the message at `place`. Throws an exception derived from std::exception.
    virtual std::unique_ptr<message_copy> copy_of(const message_place& place) = 0;
    /// Returns the folder for display; empty if the copies do not outlive the process.
    [[nodiscard]] virtual std::string folder() const = 0;
    virtual ~message_copies() = default;
};

} // namespace host
