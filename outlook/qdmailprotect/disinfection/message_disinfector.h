#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "outlook/qdmailprotect/results/check_results.h"

#include <vector>

class VerdictCache;

/// Carries out a condemning verdict on a message. Used on the thread that delivers events.
class MessageDisinfector
{
public:
    /// Changes `message` as `body` and `attachments` demand; may reorder `attachments` and marks in it what is gone.
    /// `verdicts` tells encrypted messages from others. Both references are released on every path. An exception of
    /// the scanner's objects may pass.
    virtual HRESULT DisinfectMessage(VerdictCache& verdicts, ComPtr<IMessage> message, const MailBodyInfo& body,
                                     std::vector<AttachmentResult>& attachments, ComPtr<IUnknown> item) = 0;
    virtual ~MessageDisinfector() = default;
};
