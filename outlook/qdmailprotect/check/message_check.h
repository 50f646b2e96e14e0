#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "tool/icap_client/scan_result.h"

#include <string>

/// What the item events ask of the check. MailChecker is the real one. Used on the thread that delivers events.
class MessageCheck
{
public:
    /// Judges the message behind `item`, whose reference is released on every path. `verdict` is left as it is when
    /// nothing came out; `blockDisplay` is always set. Lets no exception out.
    virtual HRESULT CheckMessage(bool connectNow, bool useCache, ComPtr<IUnknown> item, ScanResult& verdict,
                                 bool& blockDisplay) = 0;
    /// False for the name of an attachment that must not be opened.
    [[nodiscard]] virtual bool IsAttachmentAllowed(const std::wstring& fileName) = 0;
    virtual ~MessageCheck() = default;
};
