#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// Reads attachments for the writers of documents, using only MAPI. If the store fails, ComError is thrown with its
// result.

/// Returns the numbers of a message's attachments in the order of its table.
std::vector<std::uint32_t> attachment_numbers(IMessage& message);

ComPtr<IAttach> open_attachment(IMessage& message, std::uint32_t number);

/// Returns the most specific name of an attachment in UTF-8; the display name of an embedded message does not count.
std::string attachment_name(IAttach& attachment);

/// Returns the message inside an attachment; null if there is none, regardless of the attachment method.
ComPtr<IMessage> message_inside(IAttach& attachment);

/// Returns the content type for the part of a file with the MIME type `mime_tag`: that type if it is a non-multipart
/// type, otherwise application/octet-stream.
std::string type_of_file(std::string_view mime_tag);

} // namespace host
