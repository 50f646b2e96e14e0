#include "outlook/qdmailprotect/access/converter_platform.h"

HRESULT CreateConverterSession(IConverterSession** session)
{
    return CoCreateInstance(CLSID_IConverterSession, nullptr, CLSCTX_INPROC_SERVER, IID_IConverterSession,
                            reinterpret_cast<void**>(session));
}

HRESULT CreateMemoryStream(IStream** stream)
{
    return CreateStreamOnHGlobal(nullptr, TRUE, stream);
}
