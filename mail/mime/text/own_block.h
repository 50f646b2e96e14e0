#pragma once

#include "store/message_record.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// What the headers of this program say about an attachment: one of the document (`part`), which is dropped without a
/// number, or one without a part.
struct told_attachment
{
    std::optional<std::uint32_t> part;
    std::optional<std::uint32_t> number;
    std::string list;
};

/// What the headers of this program say about one message.
struct told_message
{
    std::string verdict;
    std::vector<std::string> properties;
    std::vector<std::string> recipients; ///< all of them; empty: those of the document
    std::vector<told_attachment> attachments;
    std::map<std::uint32_t, told_message> inside; ///< of attached messages, by the number of their part
};

/// A saved document without the headers of this program.
struct own_block
{
    bytes_ptr document;
    told_message told;
};

/// Separates the headers of this program at the beginning of a document, behind an envelope line, from the document.
/// Without the last of them they are part of the document and say nothing, and so are all headers behind it.
own_block split_own_block(const bytes_ptr& source);

/// Changes what was read from the document into the message that was saved.
void apply(const told_message& told, message_record& message);

} // namespace host
