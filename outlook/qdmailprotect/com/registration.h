#pragma once

#include "tool/system/hresult.h"

/// Specifies the registry hive of a registration. With User the classes are registered for the current user. The entry
/// that makes the mail client load the add-in is written for the machine in both cases.
enum class RegistrationScope
{
    Machine,
    User
};

/// The parts of a registration. Each operation may throw.
class ServerRegistration
{
public:
    /// Runs the registry script, or removes the entries that it wrote.
    virtual HRESULT RunScript(RegistrationScope scope, bool install) = 0;
    virtual HRESULT RegisterTypeLibrary(RegistrationScope scope) = 0;
    /// Returns S_OK even if the type library is not registered.
    virtual HRESULT UnregisterTypeLibrary(RegistrationScope scope) = 0;

protected:
    constexpr ServerRegistration() noexcept = default;
    ServerRegistration(const ServerRegistration&) = default;
    ServerRegistration& operator=(const ServerRegistration&) = default;
    ~ServerRegistration() = default;
};

/// Registers the script and then the type library, and stops at the first failure. Runs under the thread locale
/// LOCALE_SYSTEM_DEFAULT and restores the previous one. An exception of a part is converted to its failure code.
HRESULT Register(ServerRegistration& registration, RegistrationScope scope) noexcept;
/// Unregisters both, the second even if the first fails, and returns the first failure. The thread locale is set as for
/// Register.
HRESULT Unregister(ServerRegistration& registration, RegistrationScope scope) noexcept;
