#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/results/check_results.h"

#include <string>

// Creation of attachments. Both functions save the attachment but never the message, and release the message reference
// on every path. If a step after the creation fails, the new attachment remains unsaved and the open message discards
// it. Properties that the store rejects are skipped. Must be called on the thread that delivers item events.

/// Adds `text`, byte for byte and without a terminator, as a file attachment. Returns E_FAIL if the store creates no
/// attachment, E_NOINTERFACE if it provides no stream for the contents, and S_OK otherwise, even if single writes
/// failed.
HRESULT AddTextAttachment(ComPtr<IMessage> message, const std::wstring& name, const std::string& text,
                          const std::wstring& mimeTag);

/// Adds the image that `record` describes; the attachment is invisible to the reader if `hidden` is true. Returns
/// E_INVALIDARG if `record` has no name, Content-ID or data, and otherwise the same results as AddTextAttachment.
HRESULT AddBinaryAttachment(ComPtr<IMessage> message, bool hidden, const AttachmentResult& record);
