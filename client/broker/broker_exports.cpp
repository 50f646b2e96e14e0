// The exported functions of the stand-in broker's module.
#include "broker/class_registration.h"
#include "client/broker/security_layer_provider.h"
#include "outlook/qdmailprotect/com/class_factory.h"
#include "outlook/qdmailprotect/com/com_border.h"
#include "outlook/qdmailprotect/com/module_lifetime.h"
#include "outlook/qdmailprotect/link/com_broker_windows.h"

#include <string_view>

namespace {

constexpr broker::com_class provider{host::security_layer_provider_id, ComBroker::ProgId, L"Stand-in settings broker"};

ComPtr<IUnknown> new_provider()
{
    return MakeCom<host::security_layer_provider>();
}

HRESULT install(HKEY root, bool wanted)
{
    return ComBorder("DllInstall", [=] {
        return HRESULT_FROM_WIN32(wanted ? broker::register_class(root, provider)
                                         : broker::unregister_class(root, provider));
    });
}

} // namespace

extern "C" {

HRESULT WINAPI DllCanUnloadNow()
{
    return ModuleInUse() ? S_FALSE : S_OK;
}

HRESULT WINAPI DllGetClassObject(REFCLSID class_id, REFIID iid, void** object)
{
    return GetOnlyClassObject(class_id, host::security_layer_provider_id, new_provider, iid, object);
}

HRESULT WINAPI DllRegisterServer()
{
    return install(HKEY_LOCAL_MACHINE, true);
}

HRESULT WINAPI DllUnregisterServer()
{
    return install(HKEY_LOCAL_MACHINE, false);
}

/// "user" in the command line registers the broker for the current user only.
HRESULT WINAPI DllInstall(BOOL wanted, LPCWSTR command_line)
{
    const bool user = command_line && std::wstring_view(command_line) == L"user";
    return install(user ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE, wanted != FALSE);
}

} // extern "C"
