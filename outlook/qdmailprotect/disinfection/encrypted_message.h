#pragma once

#include "outlook/qdmailprotect/disinfection/string_resources.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/results/check_results.h"

#include <vector>

class VerdictCache;

/// Disinfects the base message of an encrypted message: replaces its body and subject, converts it to an ordinary note
/// and saves it. No attachment is deleted. Returns S_OK even if the body could not be replaced. Returns E_FAIL if there
/// is no secured interface or no base message, and the store's failure if the base message cannot be obtained; in these
/// cases nothing is changed. Both references are released on every path; the item is not used. Throws the exceptions of
/// ModifyMailBody. Must be called on the thread that delivers events.
HRESULT DisinfectEncryptedMessage(VerdictCache& verdicts, ComPtr<IMessage> message, MailBodyInfo& body,
                                  const std::vector<AttachmentResult>& attachments, ComPtr<IUnknown> item,
                                  const StringResources& texts);
