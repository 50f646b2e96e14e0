#pragma once

#include "outlook/qdmailprotect/com/class_factory.h"
#include "outlook/qdmailprotect/com/registration.h"

/// The in-process server that the module's exported functions call. Each operation is an entry point and does not
/// throw. Refers to its parts, which must outlive it, and has no other state.
class CQDMailProtectModule
{
public:
    constexpr CQDMailProtectModule(ClassFactory::Maker makeConnect, ServerRegistration& registration) noexcept
        : makeConnect_(makeConnect)
        , registration_(registration)
    {}

    /// Returns S_OK if no object or lock of the module remains, and S_FALSE otherwise.
    HRESULT CanUnloadNow() const noexcept;
    /// Returns the class factory of CLSID_Connect, or CLASS_E_CLASSNOTAVAILABLE for any other class.
    HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** object) const noexcept;
    HRESULT RegisterServer() const noexcept;
    HRESULT UnregisterServer() const noexcept;
    /// Registers or unregisters the server, for the current user if `commandLine` (may be null) is "user", compared
    /// without regard to case.
    HRESULT Install(bool install, const wchar_t* commandLine) const noexcept;

private:
    ClassFactory::Maker makeConnect_;
    ServerRegistration& registration_;
};
