// The module's exported functions. The functions that they call do not throw.
#include "outlook/qdmailprotect/com/module.h"
#include "outlook/qdmailprotect/com/new_connect.h"
#include "outlook/qdmailprotect/com/system_registration.h"

namespace __gnu_cxx {
// Releases the memory that the language's run-time library reserves for exceptions thrown when memory is exhausted. Not
// declared in any header.
void __freeres();
} // namespace __gnu_cxx

namespace {

constinit SystemRegistration registration;
constinit CQDMailProtectModule module(&NewConnect, registration);

} // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* process_ends)
{
    if (reason == DLL_PROCESS_DETACH && process_ends == nullptr) {
        __gnu_cxx::__freeres();
    }
    return TRUE;
}

HRESULT WINAPI DllCanUnloadNow()
{
    return module.CanUnloadNow();
}

HRESULT WINAPI DllGetClassObject(REFCLSID classId, REFIID iid, void** object)
{
    return module.GetClassObject(classId, iid, object);
}

HRESULT WINAPI DllRegisterServer()
{
    return module.RegisterServer();
}

HRESULT WINAPI DllUnregisterServer()
{
    return module.UnregisterServer();
}

HRESULT WINAPI DllInstall(BOOL install, LPCWSTR commandLine)
{
    return module.Install(install != FALSE, commandLine);
}

} // extern "C"
