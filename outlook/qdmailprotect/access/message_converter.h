#pragma once

#include "outlook/qdmailprotect/access/converter_platform.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

/// Turns messages into MIME documents by the mail client's converter session. Used on one thread.
class MessageConverter
{
public:
    explicit MessageConverter(ConverterPlatform platform = {});
    MessageConverter(const MessageConverter&) = delete;
    MessageConverter& operator=(const MessageConverter&) = delete;

    /// Gets a session and sets it to RFC 1521 documents with quoted-printable bodies; true when it is ready. Safe to
    /// call again: a ready converter stays as it is, another one tries anew.
    bool Init();
    /// Lets the session go; the converter isn't ready any more.
    void Close();
    /// Gives a stream in memory that holds `message` as a MIME document, Bcc recipients included; the stream is the
    /// caller's and stands where the conversion left it. E_POINTER when the converter isn't ready or `stream` is null.
    /// A conversion that fails gives its result and leaves the stream with the caller. A stream that can't be made
    /// gives the result of its making, which may be a success, and null.
    HRESULT ConvertToMime(IMessage* message, IStream** stream);

private:
    ConverterPlatform platform_;
    bool initialized_ = false;
    ComPtr<IConverterSession> session_;
};
