#pragma once

#include "outlook/qdmailprotect/com/registration.h"

/// Registers the module's script with the system's registrar and its type library with the system.
class SystemRegistration final : public ServerRegistration
{
public:
    constexpr SystemRegistration() noexcept = default;
    HRESULT RunScript(RegistrationScope scope, bool install) override;
    HRESULT RegisterTypeLibrary(RegistrationScope scope) override;
    HRESULT UnregisterTypeLibrary(RegistrationScope scope) override;
};
