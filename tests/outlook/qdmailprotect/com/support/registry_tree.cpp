#include "tests/outlook/qdmailprotect/com/support/registry_tree.h"

#include <platform/handles.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace test {

namespace {

constexpr DWORD longest_name = 512;

std::wstring data_text(DWORD type, const std::vector<BYTE>& data)
{
    if (type == REG_SZ || type == REG_EXPAND_SZ) {
        std::wstring text(data.size() / sizeof(wchar_t), L'\0');
        std::memcpy(text.data(), data.data(), text.size() * sizeof(wchar_t));
        return L"\"" + text.substr(0, text.find(L'\0')) + L"\"";
    }
    if (type == REG_DWORD && data.size() == sizeof(DWORD)) {
        DWORD number = 0;
        std::memcpy(&number, data.data(), sizeof number);
        return std::to_wstring(number);
    }
    return L"type " + std::to_wstring(type);
}

void add_values(HKEY key, const std::wstring& path, std::vector<std::wstring>& lines)
{
    for (DWORD index = 0;; ++index) {
        std::array<wchar_t, longest_name> name{};
        auto name_length = static_cast<DWORD>(name.size());
        std::vector<BYTE> data(4096);
        auto size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        if (RegEnumValueW(key, index, name.data(), &name_length, nullptr, &type, data.data(), &size) != ERROR_SUCCESS) {
            return;
        }
        data.resize(size);
        const std::wstring shown = name_length == 0 ? L"@" : std::wstring(name.data(), name_length);
        lines.push_back(path + L": " + shown + L" = " + data_text(type, data));
    }
}

void add_key(HKEY root, const std::wstring& path, std::vector<std::wstring>& lines)
{
    winapi::registry_handle key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
        return;
    }
    lines.push_back(path);
    add_values(key.get(), path, lines);
    for (DWORD index = 0;; ++index) {
        std::array<wchar_t, longest_name> name{};
        auto length = static_cast<DWORD>(name.size());
        if (RegEnumKeyExW(key.get(), index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            return;
        }
        add_key(root, path + L"\\" + std::wstring(name.data(), length), lines);
    }
}

} // namespace

std::vector<std::wstring> registry_tree(HKEY root, const std::wstring& path)
{
    std::vector<std::wstring> lines;
    add_key(root, path, lines);
    std::sort(lines.begin(), lines.end());
    return lines;
}

bool write_registry_text(HKEY root, const std::wstring& path, const std::wstring& name, const std::wstring& text)
{
    winapi::registry_handle key;
    return RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, key.put(), nullptr) ==
               ERROR_SUCCESS &&
           RegSetValueExW(key.get(), name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

void remove_registry_tree(HKEY root, const std::wstring& path)
{
    RegDeleteTreeW(root, path.c_str());
}

} // namespace test
