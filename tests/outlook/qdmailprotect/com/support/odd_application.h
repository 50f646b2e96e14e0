#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"

#include <ocidl.h>
#include <olectl.h>
#include <string>

namespace test {

/// An application object with configurable missing or failing parts. Its events are not available: its connection point
/// returns `advise`.
class odd_application final : public ComObject<IDispatch, IConnectionPointContainer, IConnectionPoint>
{
public:
    int interfaces = 1000;       ///< how often `_Application` is returned
    bool has_points = true;      ///< implements IConnectionPointContainer
    bool gives_no_point = false; ///< finds a connection point but returns null
    HRESULT find_point = S_OK;   ///< result of the search for a connection point
    HRESULT advise = CONNECT_E_ADVISELIMIT;
    HRESULT unadvise = S_OK;
    std::wstring version = L"16.0.0.0";
    VARTYPE version_type = VT_BSTR; ///< type of the version; VT_EMPTY: the property cannot be read
    bool raises = false;            ///< Invoke throws a C++ exception, as no client should

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID locale, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT* argument) override;

    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override;

    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown*, DWORD* cookie) override
    {
        *cookie = 7;
        return advise;
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD) override { return unadvise; }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

protected:
    void* FindInterface(REFIID iid) override;
};

} // namespace test
