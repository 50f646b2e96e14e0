#pragma once

#include "outlook/qdmailprotect/com/class_factory.h"
#include "outlook/qdmailprotect/com/registration.h"

/// The in-process server: what stands behind the module's exported functions. Each operation is an entry point and
/// lets no exception out. Holds nothing but its parts, which outlive it.
class CQDMailProtectModule
{
public:
    constexpr CQDMailProtectModule(ClassFactory::Maker makeConnect, ServerRegistration& registration) noexcept
        : makeConnect_(makeConnect)
        , registration_(registration)
    {}

    /// S_OK when nothing of the module is held any more, S_FALSE otherwise.
    HRESULT CanUnloadNow() const noexcept;
    /// The class factory of CLSID_Connect; CLASS_E_CLASSNOTAVAILABLE for any other class.
    HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** object) const noexcept;
    HRESULT RegisterServer() const noexcept;
    HRESULT UnregisterServer() const noexcept;
    /// Registers or unregisters; for the current user if `commandLine` is "user" in any case. It may be null.
    HRESULT Install(bool install, const wchar_t* commandLine) const noexcept;

private:
    ClassFactory::Maker makeConnect_;
    ServerRegistration& registration_;
};
