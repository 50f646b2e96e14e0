#include "outlook/qdmailprotect/com/module_lifetime.h"

#include "logging/trace_configuration.h"
#include "outlook/qdmailprotect/mapi/mapi_library.h"

#include <windows.h>

#include <cstdint>
#include <mutex>

namespace {

/// A lock that allocates no memory and therefore cannot fail.
class SlimLock
{
public:
    void lock() noexcept { ::AcquireSRWLockExclusive(&lock_); }
    void unlock() noexcept { ::ReleaseSRWLockExclusive(&lock_); }

private:
    SRWLOCK lock_ = SRWLOCK_INIT;
};

constinit SlimLock lock;
constinit std::int32_t references = 0; // guarded by lock

} // namespace

void LockModule() noexcept
{
    const std::lock_guard guard(lock);
    ++references;
}

void UnlockModule() noexcept
{
    const std::lock_guard guard(lock);
    if (references == 1) { // still counted, so that no other thread considers the module unused meanwhile
        logging::close_trace_configuration();
        SystemMapi().Release();
    }
    --references;
}

bool ModuleInUse() noexcept
{
    const std::lock_guard guard(lock);
    return references != 0;
}

ModuleReference::ModuleReference() noexcept
{
    LockModule();
}

ModuleReference::~ModuleReference()
{
    UnlockModule();
}
