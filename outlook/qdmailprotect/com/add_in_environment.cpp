#include "outlook/qdmailprotect/com/add_in_environment.h"

#include "outlook/qdmailprotect/com/own_module.h"
#include "outlook/qdmailprotect/mapi/mapi.h"
#include "tool/system/identity.h"

HRESULT SystemEnvironment::InitializeMapi()
{
    MAPIINIT options{};
    return MAPIInitialize(&options);
}

void SystemEnvironment::UninitializeMapi()
{
    MAPIUninitialize();
}

std::wstring SystemEnvironment::ModulePath()
{
    return OwnModulePath();
}

std::string SystemEnvironment::HostPath()
{
    return winapi::current_process_path();
}

std::uint32_t SystemEnvironment::ProcessId()
{
    return winapi::current_process_id();
}

std::wstring SystemEnvironment::UserName()
{
    return winapi::current_user_name();
}

std::wstring SystemEnvironment::UserSid(const std::wstring& userName)
{
    return winapi::user_sid_text(userName);
}
