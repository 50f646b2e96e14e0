#include "mail/mime/writing/converter_session.h"

#include "mail/mime/writing/message_writer.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "store/guard.h"

namespace host {

namespace {

constexpr std::int32_t encodings = 13;   ///< IET_LAST
constexpr std::int32_t save_formats = 2; ///< SAVE_RFC822 and SAVE_RFC1521

HRESULT only(std::int32_t told, std::int32_t known, std::int32_t count)
{
    if (told < 0 || told >= count) {
        return E_INVALIDARG;
    }
    return told == known ? HRESULT{S_OK} : HRESULT{MAPI_E_NO_SUPPORT};
}

void write_all(IStream& stream, std::string_view piece)
{
    while (!piece.empty()) {
        ULONG written = 0;
        const HRESULT result = stream.Write(piece.data(), static_cast<ULONG>(piece.size()), &written);
        if (FAILED(result) || written == 0) {
            throw ComError(FAILED(result) ? result : E_FAIL);
        }
        piece.remove_prefix(written);
    }
}

} // namespace

HRESULT converter_session::create(IConverterSession** session)
{
    return guarded([&] {
        *session = MakeCom<converter_session>().detach();
        return HRESULT{S_OK};
    });
}

void* converter_session::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IConverterSession ? static_cast<IConverterSession*>(this) : nullptr;
}

HRESULT converter_session::SetEncoding(std::int32_t encoding)
{
    return only(encoding, IET_QP, encodings);
}

HRESULT converter_session::SetSaveFormat(std::int32_t format)
{
    return only(format, SAVE_RFC1521, save_formats);
}

HRESULT converter_session::MAPIToMIMEStm(IMessage* message, IStream* stream, ULONG flags)
{
    if (!message || !stream || (flags & CCSF_SMTP) == 0) {
        return E_INVALIDARG;
    }
    if ((flags & ~(CCSF_SMTP | CCSF_INCLUDE_BCC)) != 0) {
        return MAPI_E_UNKNOWN_FLAGS;
    }
    return guarded([&] {
        try {
            write_mime(*message, (flags & CCSF_INCLUDE_BCC) != 0,
                       [stream](std::string_view piece) { write_all(*stream, piece); });
            return HRESULT{S_OK};
        } catch (const ComError& failure) {
            return failure.Error();
        }
    });
}

HRESULT converter_session::SetAdrBook(IUnknown*)
{
    return E_NOTIMPL;
}

HRESULT converter_session::Unused5()
{
    return E_NOTIMPL;
}

HRESULT converter_session::MIMEToMAPI(IStream*, IMessage*, const char*, ULONG)
{
    return E_NOTIMPL;
}

HRESULT converter_session::Unused8()
{
    return E_NOTIMPL;
}

HRESULT converter_session::Unused9()
{
    return E_NOTIMPL;
}

HRESULT converter_session::Unused10()
{
    return E_NOTIMPL;
}

HRESULT converter_session::SetTextWrapping(std::int32_t, ULONG)
{
    return E_NOTIMPL;
}

HRESULT converter_session::Unused13()
{
    return E_NOTIMPL;
}

HRESULT converter_session::SetCharset(std::int32_t, void*, std::int32_t)
{
    return E_NOTIMPL;
}

} // namespace host
