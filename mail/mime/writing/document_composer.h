#pragma once

#include "mail/mime/writing/document_parts.h"
#include "store/message_record.h"

#include <memory>
#include <string>
#include <vector>

namespace host {

/// Makes the MIME document of a message, of any store: headers, the text and HTML as alternatives, hidden images beside
/// the HTML, attachments, messages inside messages. Nothing of the contents is read before the document is written.
class document_composer
{
public:
    /// `failure` keeps what contents raise while the document is written.
    document_composer(bool include_bcc, std::shared_ptr<stream_failure> failure);

    /// The document of `message`. `kept`, if not null, is the record behind it, whose properties go into headers of
    /// this program's own. Raises ComError with the store's result, and std::runtime_error for messages inside one
    /// another that are more than a reader takes.
    gobject_ptr<GMimeMessage> compose(IMessage& message, const message_record* kept, int depth = 0);

private:
    part_maker parts_;
    bool include_bcc_;

    class message_parts;
};

} // namespace host
