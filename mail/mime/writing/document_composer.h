#pragma once

#include "mail/mime/writing/document_order.h"
#include "mail/mime/writing/document_parts.h"
#include "store/message_record.h"

#include <memory>
#include <string>
#include <vector>

namespace host {

/// Creates the MIME document of a message of any store: headers, text and HTML as alternatives, hidden images as parts
/// related to the HTML, attachments, embedded messages. Contents are not read before the document is written.
class document_composer
{
public:
    /// `failure` receives the exceptions of contents while the document is written.
    document_composer(bool include_bcc, std::shared_ptr<stream_failure> failure);

    /// Returns the document of `message`. `order` receives the order of its attachments. Throws ComError with the
    /// store's result, and std::runtime_error if messages are nested deeper than a reader supports.
    gobject_ptr<GMimeMessage> compose(IMessage& message, document_order& order, int depth = 0);

private:
    part_maker parts_;
    bool include_bcc_;

    class message_parts;
};

} // namespace host
