#pragma once

#include "outlook/qdmailprotect/com/registration.h"

/// Registration with the system: the module's script by the system's registrar, its type library by the system.
class SystemRegistration final : public ServerRegistration
{
public:
    constexpr SystemRegistration() noexcept = default;
    HRESULT RunScript(RegistrationScope scope, bool install) override;
    HRESULT RegisterTypeLibrary(RegistrationScope scope) override;
    HRESULT UnregisterTypeLibrary(RegistrationScope scope) override;
};
