#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <string>

namespace host::test {

/// An empty key that replaces one of the registry's roots in this process for the lifetime of the object.
class stand_in_registry
{
public:
    stand_in_registry(HKEY root, const std::wstring& name)
        : root_(root)
        , path_(L"Software\\postwarden test " + std::to_wstring(GetCurrentProcessId()) + L" " + name)
    {
        EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_CURRENT_USER, path_.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                                 KEY_ALL_ACCESS, nullptr, &key_, nullptr));
        EXPECT_EQ(ERROR_SUCCESS, RegOverridePredefKey(root_, key_));
    }
    stand_in_registry(const stand_in_registry&) = delete;
    stand_in_registry& operator=(const stand_in_registry&) = delete;
    ~stand_in_registry()
    {
        RegOverridePredefKey(root_, nullptr);
        RegDeleteTreeW(key_, nullptr);
        RegCloseKey(key_);
        RegDeleteKeyW(HKEY_CURRENT_USER, path_.c_str());
    }

private:
    HKEY root_;
    std::wstring path_;
    HKEY key_ = nullptr;
};

inline void set_value(HKEY root, const std::wstring& key, const std::wstring& name, DWORD type, const void* data,
                      std::size_t size)
{
    HKEY made = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, RegCreateKeyExW(root, key.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                                             nullptr, &made, nullptr));
    EXPECT_EQ(ERROR_SUCCESS,
              RegSetValueExW(made, name.c_str(), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size)));
    RegCloseKey(made);
}

inline void set_text(HKEY root, const std::wstring& key, const std::wstring& name, const std::wstring& text)
{
    set_value(root, key, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

inline void set_number(HKEY root, const std::wstring& key, const std::wstring& name, DWORD number)
{
    set_value(root, key, name, REG_DWORD, &number, sizeof number);
}

} // namespace host::test
