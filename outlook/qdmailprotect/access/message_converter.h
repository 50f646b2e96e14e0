#pragma once

#include "outlook/qdmailprotect/access/converter_platform.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

/// Converts messages to MIME documents by means of the mail client's converter session. Not thread-safe.
class MessageConverter
{
public:
    explicit MessageConverter(ConverterPlatform platform = {});
    MessageConverter(const MessageConverter&) = delete;
    MessageConverter& operator=(const MessageConverter&) = delete;

    /// Creates a session and configures it for RFC 1521 documents with quoted-printable bodies. Returns true if the
    /// converter is ready. May be called repeatedly: a ready converter is left unchanged, any other one is initialized
    /// anew.
    bool Init();
    /// Releases the session. The converter is no longer ready afterwards.
    void Close();
    /// Returns in `stream` a memory stream that contains `message` as a MIME document, including Bcc recipients. The
    /// caller owns the stream, whose seek position is that at the end of the conversion. Returns E_POINTER if the
    /// converter is not ready or `stream` is null. If the conversion fails, its result is returned and the caller still
    /// owns the stream. If no stream can be created, `stream` is null and the result of the creation is returned, which
    /// may be a success code.
    HRESULT ConvertToMime(IMessage* message, IStream** stream);

private:
    ConverterPlatform platform_;
    bool initialized_ = false;
    ComPtr<IConverterSession> session_;
};
