#include "events/source_registration.h"

#include <platform/handles.h>
#include <windows.h>

namespace events {

namespace {

std::wstring key_of(const std::wstring& name)
{
    return L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\" + name;
}

/// A name that is empty or contains a separator would be another key.
bool is_key_name(const std::wstring& name)
{
    return !name.empty() && name.find(L'\\') == std::wstring::npos;
}

} // namespace

std::uint32_t add_source(const std::wstring& name, const std::wstring& module)
{
    if (!is_key_name(name)) {
        return ERROR_INVALID_PARAMETER;
    }
    winapi::registry_handle key;
    LSTATUS status = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, key_of(name).c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                                       key.put(), nullptr);
    if (status != ERROR_SUCCESS) {
        return static_cast<std::uint32_t>(status);
    }
    status = ::RegSetValueExW(key.get(), L"EventMessageFile", 0, REG_EXPAND_SZ,
                              reinterpret_cast<const BYTE*>(module.c_str()),
                              static_cast<DWORD>((module.size() + 1) * sizeof(wchar_t)));
    if (status != ERROR_SUCCESS) {
        return static_cast<std::uint32_t>(status);
    }
    const DWORD types = EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
    return static_cast<std::uint32_t>(::RegSetValueExW(key.get(), L"TypesSupported", 0, REG_DWORD,
                                                       reinterpret_cast<const BYTE*>(&types), sizeof types));
}

std::uint32_t remove_source(const std::wstring& name)
{
    if (!is_key_name(name)) {
        return ERROR_INVALID_PARAMETER;
    }
    const LSTATUS status = ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key_of(name).c_str());
    return status == ERROR_FILE_NOT_FOUND ? 0 : static_cast<std::uint32_t>(status);
}

} // namespace events
