#include "outlook/qdmailprotect/com/module.h"

#include "outlook/qdmailprotect/com/com_border.h"
#include "outlook/qdmailprotect/com/extensibility.h"

#include <cwchar>

HRESULT CQDMailProtectModule::CanUnloadNow() const noexcept
{
    return ModuleInUse() ? S_FALSE : S_OK;
}

HRESULT CQDMailProtectModule::GetClassObject(REFCLSID classId, REFIID iid, void** object) const noexcept
{
    return GetOnlyClassObject(classId, CLSID_Connect, makeConnect_, iid, object);
}

HRESULT CQDMailProtectModule::RegisterServer() const noexcept
{
    return Register(registration_, RegistrationScope::Machine);
}

HRESULT CQDMailProtectModule::UnregisterServer() const noexcept
{
    return Unregister(registration_, RegistrationScope::Machine);
}

HRESULT CQDMailProtectModule::Install(bool install, const wchar_t* commandLine) const noexcept
{
    const auto scope =
        commandLine && _wcsicmp(commandLine, L"user") == 0 ? RegistrationScope::User : RegistrationScope::Machine;
    if (!install) {
        return Unregister(registration_, scope);
    }
    const HRESULT result = Register(registration_, scope);
    if (FAILED(result)) {
        Unregister(registration_, scope);
    }
    return result;
}
