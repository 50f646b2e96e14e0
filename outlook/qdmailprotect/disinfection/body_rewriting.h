#pragma once

#include "outlook/qdmailprotect/disinfection/string_resources.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/results/check_results.h"

#include <vector>

/// Replaces the body of `message` by the scanner's HTML: that of the answer for the body if the body is condemned, else
/// the notice of the first of `attachments`, else nothing. The images in it become hidden attachments, the plain text
/// body goes, and its text, if there was any, stays as the attachment "original_body.txt". The message isn't saved.
///
/// True if the new HTML was written; by then, as on every other path, the plain body is deleted. Failures are logged
/// and otherwise passed over. The reference is released on every path. Raises what reading the scanner's answer and the
/// decoding of its images raise. Used on the thread that delivers events.
bool ModifyMailBody(ComPtr<IMessage> message, const MailBodyInfo& body,
                    const std::vector<AttachmentResult>& attachments, const StringResources& texts);
