#pragma once

#include "store/message_record.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace host {

/// A part of a MIME document by the numbers of the parts that lead to it; empty for the whole document.
using part_path = std::vector<std::uint32_t>;

/// The part of a document that an attachment or a body was read from.
struct part_origin final : property_origin
{
    part_path path;
    /// The range of its encoded contents in the document's source, if the reader knows it.
    std::optional<std::pair<std::uint64_t, std::uint64_t>> range;
};

/// The document that a message was read from: the origin of its properties. Its bytes are not copied.
struct mail_origin final : property_origin
{
    /// The whole document; null for an attached message, whose document is a range of that of the outer message.
    bytes_ptr source;
    /// What the document yields. Its attachments, numbered from 0 in the order of their parts, have a part_origin.
    std::shared_ptr<const message_record> read;
    /// The message as it was opened: what the document yields, changed by the headers of this program if it wrote the
    /// document. What was changed since follows from a comparison with it.
    std::shared_ptr<const message_record> opened;
    std::shared_ptr<const part_origin> plain; ///< the part of the plain body; null if there is none
    std::shared_ptr<const part_origin> html;  ///< the part of the HTML body; null if there is none
};

/// Returns the document that a message was read from; null if there is none.
inline const mail_origin* origin_of(const message_record& message)
{
    return dynamic_cast<const mail_origin*>(message.properties->origin().get());
}

/// Returns a record for comparisons with later states of the message. Recipients are shared, since there may be very
/// many of them.
std::shared_ptr<const message_record> state_of(const message_record& message);

/// Returns the part that an attachment was read from; null if there is none.
inline const part_origin* origin_of(const attachment_record& attachment)
{
    return dynamic_cast<const part_origin*>(attachment.properties->origin().get());
}

} // namespace host
