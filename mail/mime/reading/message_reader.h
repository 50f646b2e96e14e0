#pragma once

#include "store/message_record.h"
#include "store/unreadable_message.h"

#include <memory>
#include <string>

namespace host {

/// Specifies the writer of a document. The program's own headers are evaluated only in documents that it wrote itself;
/// in all others they are ordinary mail headers, because any sender could have added them.
enum class written_by
{
    anyone,
    this_program
};

/// Reads one MIME message into a record of `store`. Bodies and attachments without transfer encoding refer to `source`;
/// decoded ones are held in memory or, if large, in a temporary file. `origin` identifies the location that the message
/// comes from: the same location and contents yield the same entry identifier. Not thread-safe. Throws
/// unreadable_message if the bytes are not a message.
message_record read_message(const bytes_ptr& source, const std::string& origin,
                            const std::shared_ptr<store_context>& store, written_by author = written_by::anyone);

} // namespace host
