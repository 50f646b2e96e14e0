#pragma once

#include "outlook/qdmailprotect/disinfection/string_resources.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/results/check_results.h"

#include <vector>

class VerdictCache;

/// Disinfects the message inside the wrapper of an encrypted one: its body and subject are replaced, it becomes an
/// ordinary note and is saved. No attachment is deleted. S_OK also when the body couldn't be replaced; E_FAIL when
/// there is no secured interface or no message inside, else the store's failure to give it: then nothing is changed.
/// Both references are released on every path; of the item nothing is used. Raises what ModifyMailBody raises.
HRESULT DisinfectEncryptedMessage(VerdictCache& verdicts, ComPtr<IMessage> message, const MailBodyInfo& body,
                                  const std::vector<AttachmentResult>& attachments, ComPtr<IUnknown> item,
                                  const StringResources& texts);
