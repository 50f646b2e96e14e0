#pragma once

// The common declarations of the message store for every platform: the platform's interfaces and records, and the tags
// and identifiers that its headers lack.
#include <platform/mapi.h>

#include <cstdint>

inline constexpr std::uint32_t PR_INTERNET_MESSAGE_ID_A = 0x1035001E;
inline constexpr std::uint32_t PR_INTERNET_MESSAGE_ID_W = 0x1035001F;
inline constexpr std::uint32_t PR_HTML = 0x10130102;
inline constexpr std::uint32_t PR_NATIVE_BODY_INFO = 0x10160003; ///< 0 undefined, 1 plain, 2 RTF, 3 HTML
inline constexpr std::uint32_t PR_INTERNET_CPID = 0x3FDE0003;
inline constexpr std::uint32_t PR_ATTACH_CONTENT_ID_W = 0x3712001F;
inline constexpr std::uint32_t PR_ATTACH_CONTENT_LOCATION_W = 0x3713001F;
inline constexpr std::uint32_t PR_ATTACHMENT_FLAGS = 0x7FFD0003;
inline constexpr std::uint32_t PR_ATTACHMENT_HIDDEN = 0x7FFE000B;

/// The set of named properties that correspond to internet header lines.
inline constexpr GUID PS_INTERNET_HEADERS{0x00020386, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

inline constexpr IID IID_ISecuredMessage{0x253CC320, 0xEAB6, 0x11D0, {0x82, 0x22, 0x00, 0x60, 0x97, 0x93, 0x87, 0xEA}};

/// Implemented by the wrapper of an encrypted message. Five of its operations are never called.
struct ISecuredMessage : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE Unused4() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused5() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused8() = 0;
    /// Returns the message inside the wrapper. The caller owns the reference.
    virtual HRESULT STDMETHODCALLTYPE GetBaseMessage(IMessage** base) = 0;

protected:
    ~ISecuredMessage() = default;
};

inline constexpr CLSID CLSID_IConverterSession{
    0x4E3A7680, 0xB77A, 0x11D0, {0x9D, 0xA5, 0x00, 0xC0, 0x4F, 0xD6, 0x56, 0x85}};
inline constexpr IID IID_IConverterSession{
    0x4B401570, 0xB77B, 0x11D0, {0x9D, 0xA5, 0x00, 0xC0, 0x4F, 0xD6, 0x56, 0x85}};

// Parameters of the converter session: the encoding of bodies, the format of the document, and its contents.
inline constexpr std::int32_t IET_QP = 3;
inline constexpr std::int32_t SAVE_RFC1521 = 1;
inline constexpr ULONG CCSF_SMTP = 0x0002;
inline constexpr ULONG CCSF_INCLUDE_BCC = 0x0020;

/// The message store's converter between messages and MIME. The operations with placeholder names are never called.
struct IConverterSession : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE SetAdrBook(IUnknown* address_book) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetEncoding(std::int32_t encoding) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused5() = 0;
    virtual HRESULT STDMETHODCALLTYPE MIMEToMAPI(IStream* stream, IMessage* message, const char* server,
                                                 ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE MAPIToMIMEStm(IMessage* message, IStream* stream, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused8() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused9() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused10() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetTextWrapping(std::int32_t wrap, ULONG width) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSaveFormat(std::int32_t format) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused13() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetCharset(std::int32_t apply, void* charset, std::int32_t apply_type) = 0;

protected:
    ~IConverterSession() = default;
};
