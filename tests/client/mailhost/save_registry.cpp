// save_registry KEY FILE: saves KEY, such as HKLM\Software, with all subkeys that are not volatile to a new file in the
// format of the system, which is text under Wine. That is one call; an export needs some for each key and each value.

#include <windows.h>

#include <cwchar>
#include <string>

namespace {

/// Enables the privilege that RegSaveKey requires.
bool enable_backup()
{
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token) == FALSE) {
        return false;
    }
    TOKEN_PRIVILEGES wanted{};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    const bool done = LookupPrivilegeValueW(nullptr, L"SeBackupPrivilege", &wanted.Privileges[0].Luid) != FALSE &&
                      AdjustTokenPrivileges(token, FALSE, &wanted, 0, nullptr, nullptr) != FALSE &&
                      GetLastError() == ERROR_SUCCESS;
    CloseHandle(token);
    return done;
}

LSTATUS save(const std::wstring& key, const wchar_t* file)
{
    const auto split = key.find(L'\\');
    const HKEY root = key.substr(0, split) == L"HKLM" ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    HKEY opened = nullptr;
    const std::wstring path = split == std::wstring::npos ? std::wstring() : key.substr(split + 1);
    LSTATUS result = RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &opened);
    if (result == ERROR_SUCCESS) {
        result = RegSaveKeyW(opened, file, nullptr);
        RegCloseKey(opened);
    }
    return result;
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    constexpr int usage = 2;
    if (count != 3) {
        return usage;
    }
    return enable_backup() && save(arguments[1], arguments[2]) == ERROR_SUCCESS ? 0 : 1;
}
