#pragma once

#include "store/message_record.h"
#include "store/unreadable_message.h"

#include <memory>
#include <string>

namespace host {

/// Who wrote a document. The headers of this program's own are believed in what it wrote itself; from anyone else they
/// are mail headers like others, since a stranger could write them too.
enum class written_by
{
    anyone,
    this_program
};

/// Reads one MIME message into a record of `store`. Bodies and attachments that aren't encoded stay where they are in
/// `source`; decoded ones are held in memory or, when large, in a temporary file. `origin` names the place that the
/// message comes from: the same place and contents give the same entry identifier. One thread at a time.
/// Raises unreadable_message for bytes that are no message.
message_record read_message(const bytes_ptr& source, const std::string& origin,
                            const std::shared_ptr<store_context>& store, written_by author = written_by::anyone);

} // namespace host
