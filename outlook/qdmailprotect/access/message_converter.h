#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

/// Turns a message into a MIME document. Used on one thread.
class MessageConverter
{
public:
    /// Starts the converter; true when it is ready. Safe to call again.
    virtual bool Init() = 0;
    virtual void Close() = 0;
    /// Gives a stream that holds `message` as an RFC 1521 document. E_POINTER when the converter isn't started. The
    /// stream stands wherever the conversion left it, and may come back even on failure.
    virtual HRESULT ConvertToMime(IMessage* message, ComPtr<IStream>& stream) = 0;
    virtual ~MessageConverter() = default;
};
