#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <cstdint>

// The interfaces that the mail client requests from the add-in. They are also described in qdmailprotect.idl.

inline constexpr CLSID CLSID_Connect{0x73701B94, 0x160C, 0x49E1, {0x91, 0xDF, 0xB8, 0xCE, 0xAA, 0xD0, 0x6D, 0xC1}};
inline constexpr GUID LIBID_QDMailProtectLib{
    0x76951965, 0xF88C, 0x48B4, {0xA5, 0x90, 0xF8, 0x8B, 0xF9, 0x59, 0x05, 0x23}};
inline constexpr WORD TypeLibraryMajor = 1;
inline constexpr WORD TypeLibraryMinor = 0;

inline constexpr IID IID_IConnect{0x2B6E9A14, 0x53C7, 0x4E0D, {0xA1, 0x7F, 0x94, 0x0C, 0x6D, 0x3E, 0x82, 0x5B}};
inline constexpr IID IID__IDTExtensibility2{
    0xB65AD801, 0xABAF, 0x11D0, {0xBB, 0x8B, 0x00, 0xA0, 0xC9, 0x0F, 0x27, 0x44}};

/// The add-in's own interface. It has no operations.
struct IConnect : IDispatch
{
protected:
    ~IConnect() = default;
};

/// Office's add-in interface. `connectMode` and `removeMode` specify the reason for the call, `custom` contains data of
/// the client; all three are ignored.
struct _IDTExtensibility2 : IDispatch
{
    virtual HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, std::int32_t connectMode,
                                                   IDispatch* addInInstance, SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnDisconnection(std::int32_t removeMode, SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) = 0;

protected:
    ~_IDTExtensibility2() = default;
};
