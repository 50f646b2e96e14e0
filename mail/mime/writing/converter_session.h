#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"
#include "store/object_ledger.h"

namespace host {

/// The converter session of the stand-in for the mail client. Converts messages of any store to RFC 1521 documents with
/// quoted-printable bodies; no other setting is supported. All other operations return E_NOTIMPL. Not thread-safe.
class converter_session final : public ComObject<IConverterSession>
{
public:
    /// Creates a session as the mail client's class does. The caller owns the reference.
    static HRESULT create(IConverterSession** session);

    HRESULT STDMETHODCALLTYPE SetAdrBook(IUnknown* address_book) override;
    /// Accepts IET_QP. Returns MAPI_E_NO_SUPPORT for the other defined encodings and E_INVALIDARG for undefined values.
    HRESULT STDMETHODCALLTYPE SetEncoding(std::int32_t encoding) override;
    HRESULT STDMETHODCALLTYPE Unused5() override;
    HRESULT STDMETHODCALLTYPE MIMEToMAPI(IStream* stream, IMessage* message, const char* server, ULONG flags) override;
    /// Writes the document at the current position of `stream`. `flags` must contain CCSF_SMTP and may contain
    /// CCSF_INCLUDE_BCC; for other flags MAPI_E_UNKNOWN_FLAGS is returned and nothing is written. Returns the failure
    /// of the store or the stream if one occurs.
    HRESULT STDMETHODCALLTYPE MAPIToMIMEStm(IMessage* message, IStream* stream, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE Unused8() override;
    HRESULT STDMETHODCALLTYPE Unused9() override;
    HRESULT STDMETHODCALLTYPE Unused10() override;
    HRESULT STDMETHODCALLTYPE SetTextWrapping(std::int32_t wrap, ULONG width) override;
    /// Accepts SAVE_RFC1521. Returns MAPI_E_NO_SUPPORT for the older format and E_INVALIDARG for undefined values.
    HRESULT STDMETHODCALLTYPE SetSaveFormat(std::int32_t format) override;
    HRESULT STDMETHODCALLTYPE Unused13() override;
    HRESULT STDMETHODCALLTYPE SetCharset(std::int32_t apply, void* charset, std::int32_t apply_type) override;

protected:
    void* FindInterface(REFIID iid) override;

private:
    ledger_entry entry_{"converter session", static_cast<IConverterSession*>(this)};
};

} // namespace host
