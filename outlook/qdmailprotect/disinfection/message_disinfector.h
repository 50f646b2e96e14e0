#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/results/check_results.h"

#include <vector>

class VerdictCache;

/// Executes a condemning verdict on a message. Must be used on the thread that delivers events.
class MessageDisinfector
{
public:
    /// Modifies `message` as `body` and `attachments` require. May reorder `attachments` and marks the deleted ones in
    /// it, and in `body` that the body was replaced. `verdicts` determines whether the message is encrypted. Both
    /// references are released on every path. Exceptions of the scanner's objects may propagate.
    virtual HRESULT DisinfectMessage(VerdictCache& verdicts, ComPtr<IMessage> message, MailBodyInfo& body,
                                     std::vector<AttachmentResult>& attachments, ComPtr<IUnknown> item) = 0;
    virtual ~MessageDisinfector() = default;
};
