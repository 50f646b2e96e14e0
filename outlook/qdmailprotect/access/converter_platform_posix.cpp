#include "outlook/qdmailprotect/access/converter_platform.h"

namespace {

constexpr HRESULT ClassNotRegistered = hresult(0x80040154U); // REGDB_E_CLASSNOTREG

} // namespace

HRESULT CreateConverterSession(IConverterSession** session)
{
    *session = nullptr;
    return ClassNotRegistered;
}

HRESULT CreateMemoryStream(IStream** stream)
{
    *stream = nullptr;
    return E_NOTIMPL;
}
