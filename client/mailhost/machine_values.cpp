#include "client/mailhost/machine_values.h"

#include <platform/handles.h>

#include <algorithm>
#include <stdexcept>
#include <string>

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

std::size_t missing_keys(std::wstring path)
{
    std::size_t count = 0;
    while (!path.empty() && !has_key(path)) {
        ++count;
        path = parent_of(path);
    }
    return count;
}

winapi::registry_handle open_for_change(const std::wstring& path)
{
    winapi::registry_handle key;
    require(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, key.put(),
                            nullptr));
    return key;
}

} // namespace

machine_values::~machine_values()
{
    std::for_each(changes_.rbegin(), changes_.rend(), undo);
}

void machine_values::set(const registry_value& wanted)
{
    change done{wanted.key, wanted.name, missing_keys(wanted.key), REG_NONE, {}};
    const winapi::registry_handle key = open_for_change(wanted.key);
    DWORD size = 0;
    if (RegQueryValueExW(key.get(), wanted.name.c_str(), nullptr, &done.type, nullptr, &size) == ERROR_SUCCESS) {
        done.before.emplace(size);
        require(RegQueryValueExW(key.get(), wanted.name.c_str(), nullptr, &done.type, done.before->data(), &size));
    }
    changes_.push_back(std::move(done));
    if (const auto* number = std::get_if<std::uint32_t>(&wanted.value)) {
        const DWORD value = *number;
        require(RegSetValueExW(key.get(), wanted.name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                               sizeof value));
    } else {
        const std::wstring& text = std::get<std::wstring>(wanted.value);
        require(RegSetValueExW(key.get(), wanted.name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                               static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))));
    }
}

void machine_values::undo(const change& done) noexcept
{
    winapi::registry_handle key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, done.key.c_str(), 0, KEY_WRITE, key.put()) != ERROR_SUCCESS) {
        return;
    }
    if (done.before) {
        RegSetValueExW(key.get(), done.name.c_str(), 0, done.type, done.before->data(),
                       static_cast<DWORD>(done.before->size()));
    } else {
        RegDeleteValueW(key.get(), done.name.c_str());
    }
    key.reset(); // an open key cannot be deleted
    std::wstring path = done.key;
    for (std::size_t left = done.keys_made; left != 0 && is_empty(path); --left) {
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.c_str());
        path = parent_of(path);
    }
}

} // namespace host
