#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <functional>

/// Makes the platform's converter session, in process; the reference is the caller's. A system without one answers
/// REGDB_E_CLASSNOTREG.
HRESULT CreateConverterSession(IConverterSession** session);

/// Makes an empty stream in memory that grows as it is written and goes with its last reference, which is the caller's.
/// A system without a converter session answers E_NOTIMPL: what brings a session of its own brings a stream too.
HRESULT CreateMemoryStream(IStream** stream);

/// What a MessageConverter needs of the platform; tests and stand-ins for the mail client bring their own.
struct ConverterPlatform
{
    std::function<HRESULT(IConverterSession**)> createSession = CreateConverterSession;
    std::function<HRESULT(IStream**)> createStream = CreateMemoryStream;
};
