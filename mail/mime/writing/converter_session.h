#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/object_ledger.h"

namespace host {

/// The converter session of the stand-in for the mail client: messages of any store as RFC 1521 documents with
/// quoted-printable bodies, which is all that it can be set to. Other operations answer E_NOTIMPL. One thread at a
/// time.
class converter_session final : public ComObject<IConverterSession>
{
public:
    /// A new session as the mail client's class gives it; the reference is the caller's.
    static HRESULT create(IConverterSession** session);

    HRESULT STDMETHODCALLTYPE SetAdrBook(IUnknown* address_book) override;
    /// IET_QP; MAPI_E_NO_SUPPORT for the other encodings that there are, E_INVALIDARG for what is none.
    HRESULT STDMETHODCALLTYPE SetEncoding(std::int32_t encoding) override;
    HRESULT STDMETHODCALLTYPE Unused5() override;
    HRESULT STDMETHODCALLTYPE MIMEToMAPI(IStream* stream, IMessage* message, const char* server, ULONG flags) override;
    /// Writes the document to where `stream` stands. `flags` are CCSF_SMTP, which must be there, and CCSF_INCLUDE_BCC;
    /// others give MAPI_E_UNKNOWN_FLAGS, and nothing is written. What the store or the stream answers is the result.
    HRESULT STDMETHODCALLTYPE MAPIToMIMEStm(IMessage* message, IStream* stream, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE Unused8() override;
    HRESULT STDMETHODCALLTYPE Unused9() override;
    HRESULT STDMETHODCALLTYPE Unused10() override;
    HRESULT STDMETHODCALLTYPE SetTextWrapping(std::int32_t wrap, ULONG width) override;
    /// SAVE_RFC1521; MAPI_E_NO_SUPPORT for the older form, E_INVALIDARG for what is none.
    HRESULT STDMETHODCALLTYPE SetSaveFormat(std::int32_t format) override;
    HRESULT STDMETHODCALLTYPE Unused13() override;
    HRESULT STDMETHODCALLTYPE SetCharset(std::int32_t apply, void* charset, std::int32_t apply_type) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    ledger_entry entry_{"converter session", static_cast<IConverterSession*>(this)};
};

} // namespace host
