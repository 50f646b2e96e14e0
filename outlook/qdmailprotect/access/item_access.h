#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstdint>
#include <string>

/// Returns the message behind an item of the mail client. The item is tried as a mail, a meeting and a task item, in
/// this order. `item` is released on every path. Returns E_POINTER for a null item and E_NOINTERFACE if no message can
/// be obtained.
HRESULT ItemToMessage(ComPtr<IUnknown> item, ComPtr<IMessage>& message);

/// Appends the plain text body to `text`. The body is read in blocks of 16384 bytes; of each block only the bytes
/// before its first NUL byte are used.
HRESULT ReadPlainBody(IMessage* message, std::string& text);

/// Returns the body type of a message that does not specify it: HtmlBody, PlainBody or UndefinedBody.
std::uint32_t DeduceBodyType(IMessage* message);
