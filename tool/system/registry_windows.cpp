#include "tool/system/errors.h"
#include "tool/system/registry.h"
#include "tool/system/win32_codes.h"

#include <platform/handles.h>
#include <windows.h>

#include <algorithm>

namespace winapi::detail {

namespace {

constexpr const char* source_path = "tool\\system\\registry";

registry_handle open_key(std::wstring_view key)
{
    registry_handle handle;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, std::wstring(key).c_str(), 0, KEY_READ, handle.put()) != ERROR_SUCCESS) {
        return {};
    }
    return handle;
}

class machine_registry final : public registry
{
public:
    [[nodiscard]] bool has_key(std::wstring_view key) const override { return static_cast<bool>(open_key(key)); }

    [[nodiscard]] std::optional<std::wstring> string_value(std::wstring_view key, std::wstring_view name) const override
    {
        const registry_handle handle = open_key(key);
        if (!handle) {
            return std::nullopt;
        }
        const std::wstring value_name(name);
        std::vector<wchar_t> text(256);
        DWORD type = 0;
        LSTATUS status = ERROR_MORE_DATA;
        DWORD size = 0;
        // The value may grow between two calls, so each call gets the size that the call before asked for.
        for (int attempt = 0; attempt < 8 && status == ERROR_MORE_DATA; ++attempt) {
            text.resize(std::max<std::size_t>(text.size(), size / sizeof(wchar_t) + 1));
            size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
            status = ::RegQueryValueExW(handle.get(), value_name.c_str(), nullptr, &type,
                                        reinterpret_cast<BYTE*>(text.data()), &size);
        }
        if (status == ERROR_FILE_NOT_FOUND) {
            return std::nullopt;
        }
        if (status != ERROR_SUCCESS) {
            throw error::win32exception(static_cast<std::uint32_t>(status), source_path, __LINE__);
        }
        if (type != REG_SZ && type != REG_EXPAND_SZ) {
            throw error::win32exception(code::invalid_data, source_path, __LINE__);
        }
        const std::wstring_view whole(text.data(), size / sizeof(wchar_t));
        return std::wstring(whole.substr(0, whole.find(L'\0')));
    }

    [[nodiscard]] std::optional<std::uint32_t> number_value(std::wstring_view key,
                                                            std::wstring_view name) const override
    {
        const registry_handle handle = open_key(key);
        if (!handle) {
            return std::nullopt;
        }
        std::uint32_t number = 0;
        DWORD size = sizeof(number);
        const LSTATUS status = ::RegQueryValueExW(handle.get(), std::wstring(name).c_str(), nullptr, nullptr,
                                                  reinterpret_cast<BYTE*>(&number), &size);
        if (status == ERROR_FILE_NOT_FOUND) {
            return std::nullopt;
        }
        if (status != ERROR_SUCCESS) {
            throw error::win32exception(static_cast<std::uint32_t>(status), source_path, __LINE__);
        }
        return number;
    }
};

const machine_registry machine;

} // namespace

const registry& platform_registry()
{
    return machine;
}

} // namespace winapi::detail
