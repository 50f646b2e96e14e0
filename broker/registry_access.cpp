#include "broker/registry_access.h"

#include <platform/handles.h>

namespace broker {

namespace {

LONG unless_absent(LONG code)
{
    return code == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : code;
}

} // namespace

LONG set_text(HKEY root, const std::wstring& key, const std::wstring& name, const std::wstring& text)
{
    winapi::registry_handle opened;
    const LONG code = ::RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, opened.put(), nullptr);
    if (code != ERROR_SUCCESS) {
        return code;
    }
    const auto size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    return ::RegSetValueExW(opened.get(), name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), size);
}

std::optional<std::wstring> text_in(HKEY root, const std::wstring& key, const std::wstring& name)
{
    DWORD size = 0;
    if (::RegGetValueW(root, key.c_str(), name.c_str(), RRF_RT_REG_SZ, nullptr, nullptr, &size) != ERROR_SUCCESS) {
        return {};
    }
    std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
    size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (::RegGetValueW(root, key.c_str(), name.c_str(), RRF_RT_REG_SZ, nullptr, text.data(), &size) != ERROR_SUCCESS) {
        return {};
    }
    text.resize(text.find(L'\0'));
    return text;
}

LONG remove_value(HKEY root, const std::wstring& key, const std::wstring& name)
{
    return unless_absent(::RegDeleteKeyValueW(root, key.c_str(), name.c_str()));
}

LONG remove_tree(HKEY root, const std::wstring& key)
{
    return unless_absent(::RegDeleteTreeW(root, key.c_str()));
}

LONG remove_if_empty(HKEY root, const std::wstring& key)
{
    winapi::registry_handle opened;
    LONG code = ::RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, opened.put());
    if (code != ERROR_SUCCESS) {
        return unless_absent(code);
    }
    DWORD keys = 0;
    DWORD values = 0;
    code = ::RegQueryInfoKeyW(opened.get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                              nullptr, nullptr, nullptr);
    if (code != ERROR_SUCCESS || keys != 0 || values != 0) {
        return code;
    }
    opened.reset();
    return unless_absent(::RegDeleteKeyW(root, key.c_str()));
}

} // namespace broker
