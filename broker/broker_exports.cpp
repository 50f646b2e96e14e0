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
    return GetOnlyClassObject(class_id, broker::provider_class, new_provider, iid, object);
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
