#include "client/model/class_object.h"

#include "store/guard.h"

#include <stdexcept>
#include <utility>

namespace host {

class_object::class_object(object_maker make)
    : make_(std::move(make))
{}

void* class_object::FindInterface(REFIID iid)
{
    return iid == IID_IUnknown || iid == IID_IClassFactory ? static_cast<IClassFactory*>(this) : nullptr;
}

HRESULT class_object::CreateInstance(IUnknown* outer, REFIID iid, void** object)
{
    if (!object) {
        return E_POINTER;
    }
    *object = nullptr;
    if (outer) {
        return CLASS_E_NOAGGREGATION;
    }
    ComPtr<IUnknown> made;
    const HRESULT result = guarded([&] { return make_(Receive(made)); });
    return FAILED(result) ? result : made->QueryInterface(iid, object);
}

HRESULT class_object::LockServer(BOOL)
{
    return S_OK; // the process is not unloaded
}

registered_class::registered_class(REFCLSID id, object_maker make)
{
    const auto factory = MakeCom<class_object>(std::move(make));
    if (FAILED(CoRegisterClassObject(id, factory.get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_))) {
        throw std::runtime_error("a class of this process cannot be registered");
    }
}

registered_class::~registered_class()
{
    CoRevokeClassObject(cookie_);
}

} // namespace host
