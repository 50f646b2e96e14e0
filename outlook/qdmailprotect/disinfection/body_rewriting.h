#pragma once

#include "outlook/qdmailprotect/disinfection/string_resources.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/results/check_results.h"

#include <vector>

/// Replaces the body of `message` by the scanner's HTML: if the body is condemned, the HTML of the answer for the body;
/// otherwise the notice of the first element of `attachments`, or empty text if there is none. The images of the HTML
/// become hidden attachments and the plain text body is deleted. Its text, unless empty, is kept as the attachment
/// "original_body.txt". The message is not saved.
///
/// Returns true if the new HTML was written. The plain body is deleted on every path. Failures are logged and otherwise
/// ignored. The message reference is released on every path. Throws the exceptions of reading the scanner's answer and
/// of decoding its images. Must be called on the thread that delivers events.
bool ModifyMailBody(ComPtr<IMessage> message, const MailBodyInfo& body,
                    const std::vector<AttachmentResult>& attachments, const StringResources& texts);
