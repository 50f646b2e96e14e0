#include "tests/outlook/qdmailprotect/com/support/fake_environment.h"

#include "logging/logging.h"
#include "tool/system/errors.h"

#include <stdexcept>

namespace test {

void fake_environment::enter(const char* operation) const
{
    if (raises == operation) {
        throw std::runtime_error("scripted failure");
    }
}

HRESULT fake_environment::InitializeMapi()
{
    LOG_LINE(logging::wpx_log(), 500, "MAPIInitialize");
    enter("InitializeMapi");
    initialized += SUCCEEDED(mapi) ? 1 : 0;
    return mapi;
}

void fake_environment::UninitializeMapi()
{
    LOG_LINE(logging::wpx_log(), 500, "MAPIUninitialize");
    --initialized;
    enter("UninitializeMapi");
}

std::wstring fake_environment::ModulePath()
{
    enter("ModulePath");
    if (module_path_error != 0) {
        throw error::win32exception(module_path_error, "fake", 1);
    }
    return module_path;
}

std::string fake_environment::HostPath()
{
    enter("HostPath");
    if (host_path_error != 0) {
        throw error::win32exception(host_path_error, "fake", 1);
    }
    return host_path;
}

std::uint32_t fake_environment::ProcessId()
{
    enter("ProcessId");
    return process_id;
}

std::wstring fake_environment::UserName()
{
    enter("UserName");
    return user;
}

std::wstring fake_environment::UserSid(const std::wstring& userName)
{
    enter("UserSid");
    sid_asked_for = userName;
    return sid;
}

} // namespace test
