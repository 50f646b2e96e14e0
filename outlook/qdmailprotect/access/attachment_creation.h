#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/results/check_results.h"

#include <string>

// New attachments. Both operations save the attachment but never the message, whose reference they release on every
// path. A failure behind the creation leaves the new attachment unsaved on the open message, which then drops it.
// Properties that the store refuses are passed over. Used on the thread that delivers item events.

/// Adds `text`, byte for byte and without a terminator, as a file. E_FAIL when the store makes no attachment,
/// E_NOINTERFACE when it gives no stream for the contents; else S_OK, whatever became of the single writes.
HRESULT AddTextAttachment(ComPtr<IMessage> message, const std::wstring& name, const std::string& text,
                          const std::wstring& mimeTag);

/// Adds the image that `record` describes, out of the reader's sight if `hidden`. E_INVALIDARG for a record without a
/// name, a Content-ID or data; otherwise as AddTextAttachment.
HRESULT AddBinaryAttachment(ComPtr<IMessage> message, bool hidden, const AttachmentResult& record);
