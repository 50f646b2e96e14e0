#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "tool/icap_client/scan_result.h"

#include <string>

/// The check as the item events call it. Implemented by MailChecker. Must be used on the thread that delivers events.
class MessageCheck
{
public:
    /// Judges the message behind `item`, whose reference is released on every path. `verdict` is unchanged if the check
    /// has no outcome; `blockDisplay` is always set. Does not throw.
    virtual HRESULT CheckMessage(bool connectNow, bool useCache, ComPtr<IUnknown> item, ScanResult& verdict,
                                 bool& blockDisplay) = 0;
    /// Returns false if an attachment of this name must not be opened.
    [[nodiscard]] virtual bool IsAttachmentAllowed(const std::wstring& fileName) = 0;
    virtual ~MessageCheck() = default;
};
