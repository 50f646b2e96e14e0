#include "doctor/registry_view_windows.h"

#include "tool/system/conversions.h"

#include <platform/handles.h>

namespace doctor {

namespace {

constexpr DWORD longest_name = 16384; // of a value, with its end

std::wstring wide(const std::string& text)
{
    return winapi::conv_to_wide(text, winapi::code_page_utf8);
}

std::string narrow(std::wstring_view text)
{
    return winapi::conv_to_char(text, winapi::code_page_utf8);
}

winapi::registry_handle open(hive root, const std::string& path)
{
    winapi::registry_handle key;
    RegOpenKeyExW(root == hive::machine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER, wide(path).c_str(), 0,
                  KEY_READ | KEY_WOW64_64KEY, key.put());
    return key;
}

} // namespace

bool system_registry::has_key(hive root, const std::string& path)
{
    return static_cast<bool>(open(root, path));
}

std::vector<std::string> system_registry::subkeys(hive root, const std::string& path)
{
    const winapi::registry_handle key = open(root, path);
    std::vector<std::string> result;
    std::wstring name(longest_name, L'\0');
    for (DWORD index = 0; key; ++index) {
        DWORD size = longest_name;
        if (RegEnumKeyExW(key.get(), index, name.data(), &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            break;
        }
        result.push_back(narrow({name.data(), size}));
    }
    return result;
}

std::optional<std::string> system_registry::text(hive root, const std::string& path, const std::string& name)
{
    constexpr DWORD types = RRF_RT_REG_SZ; // of one with variables, too: they are expanded
    const winapi::registry_handle key = open(root, path);
    DWORD size = 0;
    const std::wstring wide_name = wide(name);
    if (!key || RegGetValueW(key.get(), nullptr, wide_name.c_str(), types, nullptr, nullptr, &size) != ERROR_SUCCESS) {
        return {};
    }
    std::wstring result(size / sizeof(wchar_t) + 1, L'\0');
    size = static_cast<DWORD>(result.size() * sizeof(wchar_t));
    if (RegGetValueW(key.get(), nullptr, wide_name.c_str(), types, nullptr, result.data(), &size) != ERROR_SUCCESS) {
        return {};
    }
    result.resize(result.find(L'\0'));
    return narrow(result);
}

std::optional<std::uint32_t> system_registry::number(hive root, const std::string& path, const std::string& name)
{
    const winapi::registry_handle key = open(root, path);
    DWORD value = 0;
    DWORD size = sizeof value;
    if (!key || RegGetValueW(key.get(), nullptr, wide(name).c_str(), RRF_RT_REG_DWORD, nullptr, &value, &size) !=
                    ERROR_SUCCESS) {
        return {};
    }
    return value;
}

std::vector<registry_value> system_registry::values(hive root, const std::string& path)
{
    const winapi::registry_handle key = open(root, path);
    std::vector<registry_value> result;
    DWORD longest = 0;
    if (!key || RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 &longest, nullptr, nullptr) != ERROR_SUCCESS) {
        return result;
    }
    std::wstring name(longest_name, L'\0');
    std::vector<std::uint8_t> bytes(longest + 1); // RegEnumValueW takes no address of nothing
    for (DWORD index = 0;; ++index) {
        DWORD name_size = longest_name;
        DWORD size = longest;
        if (RegEnumValueW(key.get(), index, name.data(), &name_size, nullptr, nullptr, bytes.data(), &size) !=
            ERROR_SUCCESS) {
            return result;
        }
        result.push_back({narrow({name.data(), name_size}), {bytes.data(), bytes.data() + size}});
    }
}

} // namespace doctor
