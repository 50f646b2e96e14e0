#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <cstdint>
#include <string>

/// The message behind an item of the mail client: a mail, meeting or task item, tried in that order. `item` is released
/// on every path. E_POINTER for a null item, E_NOINTERFACE when no message can be reached.
HRESULT ItemToMessage(ComPtr<IUnknown> item, ComPtr<IMessage>& message);

/// Appends the plain text body to `text`. The body is read in blocks of 16384 bytes, and each block counts up to its
/// first NUL byte only.
HRESULT ReadPlainBody(IMessage* message, std::string& text);

/// The type of the body of a message that doesn't tell it: HtmlBody, PlainBody or UndefinedBody.
std::uint32_t DeduceBodyType(IMessage* message);
