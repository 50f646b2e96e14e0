#include "client/model/registry_key.h"

namespace host {

registry_key registry_key::open(HKEY root, const std::wstring& path)
{
    registry_key result;
    RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, result.key_.put());
    return result;
}

std::vector<std::wstring> registry_key::subkeys() const
{
    constexpr DWORD longest_name = 256;
    std::vector<std::wstring> result;
    std::wstring name(longest_name, L'\0');
    for (DWORD index = 0;; ++index) {
        DWORD size = longest_name;
        if (!key_ ||
            RegEnumKeyExW(key_.get(), index, name.data(), &size, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            return result;
        }
        result.emplace_back(name, 0, size);
    }
}

std::optional<std::wstring> registry_key::text(const std::wstring& name) const
{
    DWORD size = 0;
    if (!key_ ||
        RegGetValueW(key_.get(), nullptr, name.c_str(), RRF_RT_REG_SZ, nullptr, nullptr, &size) != ERROR_SUCCESS) {
        return {};
    }
    std::wstring result(size / sizeof(wchar_t) + 1, L'\0');
    size = static_cast<DWORD>(result.size() * sizeof(wchar_t));
    if (RegGetValueW(key_.get(), nullptr, name.c_str(), RRF_RT_REG_SZ, nullptr, result.data(), &size) !=
        ERROR_SUCCESS) {
        return {};
    }
    result.resize(result.find(L'\0'));
    return result;
}

std::optional<std::uint32_t> registry_key::number(const std::wstring& name) const
{
    DWORD value = 0;
    DWORD size = sizeof value;
    if (!key_ ||
        RegGetValueW(key_.get(), nullptr, name.c_str(), RRF_RT_REG_DWORD, nullptr, &value, &size) != ERROR_SUCCESS) {
        return {};
    }
    return value;
}

} // namespace host
