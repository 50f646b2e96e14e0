#pragma once

#include "outlook/qdmailprotect/mapi/com_object.h"

#include <functional>
#include <ocidl.h>
#include <olectl.h>
#include <string>

namespace test {

/// An application object with configurable missing or failing parts; also serves as an item. Unless `advise` is a
/// success, its events are not available.
class odd_application final : public ComObject<IDispatch, IConnectionPointContainer, IConnectionPoint>
{
public:
    int interfaces = 1000;       ///< how often `_Application` is returned
    bool has_points = true;      ///< implements IConnectionPointContainer
    bool gives_no_point = false; ///< finds a connection point but returns null
    HRESULT find_point = S_OK;   ///< result of the search for a connection point
    HRESULT advise = CONNECT_E_ADVISELIMIT;
    DWORD cookie = 7;                       ///< of the next connection
    int advises = 0;                        ///< connections requested so far
    std::function<void(DWORD)> on_unadvise; ///< runs when a connection with the given cookie is ended
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
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* made) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD ended) override;
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

    /// Delivers an event with one object as its argument to the sink that was connected last and is still connected.
    void fire(DISPID event, IDispatch* argument);

protected:
    void* FindInterface(REFIID iid) override;

private:
    ComPtr<IUnknown> sink_;
};

} // namespace test
