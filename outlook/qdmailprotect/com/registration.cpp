#include "outlook/qdmailprotect/com/registration.h"

#include "outlook/qdmailprotect/com/com_border.h"

namespace {

/// Sets the thread locale to the system default and restores it on destruction.
class SystemLocale
{
public:
    SystemLocale() noexcept
        : before_(::GetThreadLocale())
    {
        ::SetThreadLocale(LOCALE_SYSTEM_DEFAULT);
    }
    SystemLocale(const SystemLocale&) = delete;
    SystemLocale& operator=(const SystemLocale&) = delete;
    ~SystemLocale() { ::SetThreadLocale(before_); }

private:
    LCID before_;
};

} // namespace

HRESULT Register(ServerRegistration& registration, RegistrationScope scope) noexcept
{
    const SystemLocale locale;
    return ComBorder("registration", [&] {
        const HRESULT result = registration.RunScript(scope, true);
        return FAILED(result) ? result : registration.RegisterTypeLibrary(scope);
    });
}

HRESULT Unregister(ServerRegistration& registration, RegistrationScope scope) noexcept
{
    const SystemLocale locale;
    const HRESULT script = ComBorder("unregistration", [&] { return registration.RunScript(scope, false); });
    const HRESULT library = ComBorder("unregistration", [&] { return registration.UnregisterTypeLibrary(scope); });
    return FAILED(script) ? script : library;
}
