#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// What a writer of documents asks of attachments, by MAPI alone. A store that fails raises ComError with its result.

/// The numbers of a message's attachments, in the order of its table.
std::vector<std::uint32_t> attachment_numbers(IMessage& message);

ComPtr<IAttach> open_attachment(IMessage& message, std::uint32_t number);

/// The best name that an attachment has, in UTF-8; what a message inside is shown as is none.
std::string attachment_name(IAttach& attachment);

/// The message inside an attachment; null when it holds none, whatever its method says.
ComPtr<IMessage> message_inside(IAttach& attachment);

/// The type for the part of a file that is said to be of `mime_tag`: that type if it is one of a single part, else
/// application/octet-stream.
std::string type_of_file(std::string_view mime_tag);

} // namespace host
