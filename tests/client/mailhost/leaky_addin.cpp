// An add-in that wrongly keeps a reference to every item it receives. mailhost must report them. It needs no
// configuration; loading it is sufficient.
#include "client/model/addin_interface.h"
#include "client/model/model.h"
#include "outlook/qdmailprotect/mapi/com_object.h"

#include <ocidl.h>

namespace {

using namespace host;

constexpr CLSID own_class{0x5E1D0C2A, 0x93B4, 0x4D58, {0xA6, 0x17, 0x0B, 0x2F, 0x9C, 0x84, 0x6D, 0x31}};

/// Receives items in events and keeps them.
class keeping_sink final : public ComObject<IDispatch>
{
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*, EXCEPINFO*,
                                     UINT*) override
    {
        if (id == static_cast<DISPID>(model::application_event::item_load)) {
            parameters->rgvarg[0].pdispVal->AddRef();
        }
        return S_OK;
    }

protected:
    void* FindInterface(REFIID iid) override
    {
        const bool known = iid == IID_IUnknown || iid == IID_IDispatch || iid == model::application_events;
        return known ? static_cast<IDispatch*>(this) : nullptr;
    }
};

class leaky_addin final : public ComObject<addin_interface>
{
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, connect_mode, IDispatch*, SAFEARRAY**) override
    {
        ComPtr<IConnectionPointContainer> container;
        HRESULT result = Query(application, IID_IConnectionPointContainer, container);
        if (SUCCEEDED(result)) {
            result = container->FindConnectionPoint(model::application_events, Receive(point_));
        }
        return FAILED(result) ? result : point_->Advise(MakeCom<keeping_sink>().get(), &cookie_);
    }
    HRESULT STDMETHODCALLTYPE OnDisconnection(disconnect_mode, SAFEARRAY**) override
    {
        const HRESULT result = point_->Unadvise(cookie_);
        point_ = nullptr;
        return result;
    }
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY**) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY**) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY**) override { return S_OK; }

protected:
    void* FindInterface(REFIID iid) override
    {
        const bool known = iid == IID_IUnknown || iid == IID_IDispatch || iid == iid_addin;
        return known ? static_cast<addin_interface*>(this) : nullptr;
    }

private:
    ComPtr<IConnectionPoint> point_;
    DWORD cookie_ = 0;
};

class factory final : public ComObject<IClassFactory>
{
public:
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** object) override
    {
        return MakeCom<leaky_addin>()->QueryInterface(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

protected:
    void* FindInterface(REFIID iid) override
    {
        return iid == IID_IUnknown || iid == IID_IClassFactory ? static_cast<IClassFactory*>(this) : nullptr;
    }
};

} // namespace

extern "C" __declspec(dllexport) HRESULT WINAPI DllGetClassObject(REFCLSID id, REFIID iid, void** object)
{
    *object = nullptr;
    return id == own_class ? MakeCom<factory>()->QueryInterface(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
}
