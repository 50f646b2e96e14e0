#include "client/mailhost/registry_change.h"

#include <platform/handles.h>

#include <stdexcept>
#include <utility>

namespace host {

namespace {

void require(LONG code)
{
    if (code != ERROR_SUCCESS) {
        throw std::runtime_error("the machine's registry cannot be written: error " + std::to_string(code));
    }
}

bool has_key(const std::wstring& path)
{
    winapi::registry_handle key;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS;
}

std::wstring parent_of(const std::wstring& path)
{
    const std::size_t end = path.rfind(L'\\');
    return end == std::wstring::npos ? std::wstring() : path.substr(0, end);
}

bool is_empty(const std::wstring& path)
{
    winapi::registry_handle key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
        return false;
    }
    DWORD keys = 0;
    DWORD values = 0;
    return RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr, nullptr,
                            nullptr, nullptr) == ERROR_SUCCESS &&
           keys == 0 && values == 0;
}

} // namespace

registry_change change_of(const std::wstring& key, const std::wstring& name)
{
    registry_change change{key, name, missing_keys(key), REG_NONE, {}};
    change.before = read_value(key, name, &change.type);
    return change;
}

void restore(const registry_change& change) noexcept
{
    winapi::registry_handle key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, change.key.c_str(), 0, KEY_WRITE, key.put()) != ERROR_SUCCESS) {
        return;
    }
    if (change.before) {
        RegSetValueExW(key.get(), change.name.c_str(), 0, change.type, change.before->data(),
                       static_cast<DWORD>(change.before->size()));
    } else {
        RegDeleteValueW(key.get(), change.name.c_str());
    }
    key.reset(); // an open key cannot be deleted
    delete_empty_keys(change.key, change.keys_made);
}

std::size_t missing_keys(std::wstring path)
{
    std::size_t count = 0;
    while (!path.empty() && !has_key(path)) {
        ++count;
        path = parent_of(path);
    }
    return count;
}

void delete_empty_keys(std::wstring path, std::size_t count) noexcept
{
    for (; count != 0 && is_empty(path); --count) {
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
        path = parent_of(path);
    }
}

void write_value(const std::wstring& key, const std::wstring& name, DWORD type, const void* bytes, std::size_t size)
{
    winapi::registry_handle opened;
    require(RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, opened.put(), nullptr));
    require(
        RegSetValueExW(opened.get(), name.c_str(), 0, type, static_cast<const BYTE*>(bytes), static_cast<DWORD>(size)));
}

void write_text(const std::wstring& key, const std::wstring& name, const std::wstring& text)
{
    write_value(key, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

std::optional<std::vector<BYTE>> read_value(const std::wstring& key, const std::wstring& name, DWORD* type)
{
    winapi::registry_handle opened;
    DWORD size = 0;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, opened.put()) != ERROR_SUCCESS ||
        RegQueryValueExW(opened.get(), name.c_str(), nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) {
        return {};
    }
    std::vector<BYTE> bytes(size);
    require(RegQueryValueExW(opened.get(), name.c_str(), nullptr, type, bytes.data(), &size));
    bytes.resize(size);
    return bytes;
}

} // namespace host
