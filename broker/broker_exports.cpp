// The exported functions of the broker's module.
#include "broker/broker_registration.h"
#include "broker/provider.h"
#include "outlook/qdmailprotect/com/class_factory.h"
#include "outlook/qdmailprotect/com/com_border.h"
#include "outlook/qdmailprotect/com/module_lifetime.h"

namespace {

ComPtr<IUnknown> new_provider()
{
    return MakeCom<broker::provider>();
}

} // namespace

extern "C" {

HRESULT WINAPI DllCanUnloadNow()
{
    return ModuleInUse() ? S_FALSE : S_OK;
}

HRESULT WINAPI DllGetClassObject(REFCLSID class_id, REFIID iid, void** object)
{
    if (!object) {
        return E_POINTER;
    }
    *object = nullptr;
    if (class_id != broker::provider_class) {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    return ComBorder("DllGetClassObject",
                     [&] { return MakeCom<ClassFactory>(new_provider)->QueryInterface(iid, object); });
}

HRESULT WINAPI DllRegisterServer()
{
    return ComBorder("DllRegisterServer", [] { return HRESULT_FROM_WIN32(broker::register_broker()); });
}

HRESULT WINAPI DllUnregisterServer()
{
    return ComBorder("DllUnregisterServer", [] { return HRESULT_FROM_WIN32(broker::unregister_broker()); });
}

} // extern "C"
