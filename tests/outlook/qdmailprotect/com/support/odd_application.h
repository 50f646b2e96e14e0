#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"

#include <ocidl.h>
#include <olectl.h>
#include <string>

namespace test {

/// An application object that lacks or refuses what the test says. Its events can't be had: `advise` is what its
/// connection point answers.
class odd_application final : public ComObject<IDispatch, IConnectionPointContainer, IConnectionPoint>
{
public:
    int interfaces = 1000;       ///< how often `_Application` is given
    bool has_points = true;      ///< answers IConnectionPointContainer
    bool gives_no_point = false; ///< finds a connection point, and gives none
    HRESULT find_point = S_OK;   ///< of the search for a connection point
    HRESULT advise = CONNECT_E_ADVISELIMIT;
    HRESULT unadvise = S_OK;
    std::wstring version = L"16.0.0.0";
    VARTYPE version_type = VT_BSTR; ///< of the answer; VT_EMPTY: the property can't be read
    bool raises = false;            ///< Invoke raises a C++ exception, as no client should

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
