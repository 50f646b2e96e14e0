#include "outlook/qdmailprotect/com/module_lifetime.h"

#include "logging/trace_configuration.h"
#include "outlook/qdmailprotect/mapi/mapi_library.h"

#include <atomic>
#include <cstdint>

namespace {

constinit std::atomic<std::int32_t> references{0};

} // namespace

void LockModule() noexcept
{
    ++references;
}

void UnlockModule() noexcept
{
    if (--references == 0) {
        logging::close_trace_configuration();
        SystemMapi().Release();
    }
}

bool ModuleInUse() noexcept
{
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
