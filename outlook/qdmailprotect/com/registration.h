#pragma once

#include "tool/system/hresult.h"

/// Whose registry a registration goes to: with User the classes are the current user's. The entry that has the mail
/// client load the add-in is the machine's in both.
enum class RegistrationScope
{
    Machine,
    User
};

/// The parts of a registration. Each may raise.
class ServerRegistration
{
public:
    /// Runs the registry script, or takes back what it wrote.
    virtual HRESULT RunScript(RegistrationScope scope, bool install) = 0;
    virtual HRESULT RegisterTypeLibrary(RegistrationScope scope) = 0;
    /// S_OK also when it isn't registered.
    virtual HRESULT UnregisterTypeLibrary(RegistrationScope scope) = 0;

protected:
    constexpr ServerRegistration() noexcept = default;
    ServerRegistration(const ServerRegistration&) = default;
    ServerRegistration& operator=(const ServerRegistration&) = default;
    ~ServerRegistration() = default;
};

/// Registers script and type library, in this order, up to the first failure. Runs under the thread locale
/// LOCALE_SYSTEM_DEFAULT, which is put back afterwards. What a part raises becomes its failure.
HRESULT Register(ServerRegistration& registration, RegistrationScope scope) noexcept;
/// Takes both back, the second even if the first failed; the first failure is the result. The thread locale as above.
HRESULT Unregister(ServerRegistration& registration, RegistrationScope scope) noexcept;
