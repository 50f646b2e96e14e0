#pragma once

#include "store/message_record.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// What the headers of this program specify about an attachment of the document.
struct specified_attachment
{
    std::optional<std::uint32_t> number; ///< its number in the message, to which it does not belong without one
    std::string list;                    ///< the properties that differ
};

/// What the headers of this program specify about one message.
struct specified_message
{
    std::string verdict;
    std::vector<std::string> properties;
    std::vector<std::string> recipients;                       ///< all of them; empty: those of the document
    std::map<std::uint32_t, specified_attachment> attachments; ///< by the number of their part
    std::map<std::uint32_t, specified_message> inside;         ///< of attached messages, by the number of their part
};

/// A saved document without the headers of this program.
struct own_block
{
    bytes_ptr document;
    specified_message specified;
};

/// Separates the headers of this program at the beginning of a document, behind an envelope line, from the document.
/// Without the last of them they are part of the document and mean nothing, and so are all headers behind it.
own_block split_own_block(const bytes_ptr& source);

/// Changes what was read from the document into the message that was saved.
void apply(const specified_message& specified, message_record& message);

} // namespace host
