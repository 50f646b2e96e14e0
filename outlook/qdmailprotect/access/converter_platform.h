#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <functional>

/// Creates the platform's converter session in this process. The caller owns the reference. Returns REGDB_E_CLASSNOTREG
/// on a system without a converter session.
HRESULT CreateConverterSession(IConverterSession** session);

/// Creates an empty memory stream that grows as it is written and is freed with its last reference, which the caller
/// owns. Returns E_NOTIMPL on a system without a converter session: code that provides a session provides a stream as
/// well.
HRESULT CreateMemoryStream(IStream** stream);

/// The platform functions that MessageConverter requires. Tests and stand-ins for the mail client supply their own.
struct ConverterPlatform
{
    std::function<HRESULT(IConverterSession**)> createSession = CreateConverterSession;
    std::function<HRESULT(IStream**)> createStream = CreateMemoryStream;
};
