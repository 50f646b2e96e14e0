#pragma once

#include "mail/mime/text/mail_origin.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace host {

/// What became of something that was read from a document.
enum class part_change
{
    none,
    inside,   ///< an attached message has changed
    contents, ///< an attachment has other contents under the same name and type
    replaced, ///< a body has other contents, or an attachment is another one
    removed
};

/// An attachment of the document.
struct attachment_change
{
    part_change change = part_change::none;
    /// Its present number; empty if it was removed, or if it was dropped when the message was opened.
    std::optional<std::uint32_t> number;
    std::uint32_t former = 0; ///< its number when the message was opened
};

/// The differences between a message and the document that it was read from, as far as the document expresses them.
struct record_changes
{
    bool subject = false;
    part_change plain = part_change::none; ///< also `replaced` if the document has no such body
    part_change html = part_change::none;
    std::vector<attachment_change> attachments; ///< of the document, in its order
    std::vector<std::uint32_t> added;           ///< numbers of attachments that the document does not have

    [[nodiscard]] bool any() const;
};

record_changes find_changes(const message_record& message, const mail_origin& origin);

} // namespace host
