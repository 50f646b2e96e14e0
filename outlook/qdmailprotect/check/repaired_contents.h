#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/results/check_results.h"

// Replacement of contents by those that the scanner has repaired. The message is not saved. Both functions return a
// failure if the store refuses a step; what was written until then is no longer the former contents, and not complete.
// Must be called on the thread that delivers item events.

/// Replaces the property that was scanned as the body. `body` contains the scanner's answer.
HRESULT ReplaceBody(IMessage* message, const MailBodyInfo& body);

/// Replaces the contents of an attachment and saves the attachment. `record` contains the scanner's answer. Returns
/// E_NOTIMPL for an attachment that is not a file.
HRESULT ReplaceAttachment(IMessage* message, const AttachmentResult& record);
