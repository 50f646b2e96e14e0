#include "client/mailhost/change_journal.h"

#include "client/model/registry_key.h"

#include <platform/handles.h>

#include <cstdint>
#include <cwchar>
#include <exception>
#include <optional>

namespace host {

namespace {

constexpr const wchar_t* keys_made_name = L"KeysMade";

/// Returns a text that no other process of this machine's running time has; empty if there is no such process.
std::wstring identity_of(HANDLE process)
{
    FILETIME created{};
    FILETIME other{};
    if (!GetProcessTimes(process, &created, &other, &other, &other)) {
        return {};
    }
    return std::to_wstring(GetProcessId(process)) + L"-" + std::to_wstring(created.dwHighDateTime) + L"-" +
           std::to_wstring(created.dwLowDateTime);
}

bool is_running(const std::wstring& identity)
{
    const DWORD id = std::wcstoul(identity.c_str(), nullptr, 10);
    const winapi::kernel_handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, id));
    return process && identity_of(process.get()) == identity && WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT;
}

std::wstring below(std::wstring_view key, const std::wstring& name)
{
    return std::wstring(key) + L"\\" + name;
}

std::optional<registry_change> recorded(const std::wstring& key)
{
    const registry_key record = registry_key::open(HKEY_LOCAL_MACHINE, key);
    const auto changed = record.text(L"Key");
    const auto name = record.text(L"Name");
    const auto keys_made = record.number(keys_made_name);
    const auto type = record.number(L"Type");
    if (!changed || !name || !keys_made || !type) {
        return {}; // the process ended before its change
    }
    return registry_change{*changed, *name, *keys_made, *type, read_value(key, L"Before")};
}

void restore_record(const std::wstring& key)
{
    const registry_key record = registry_key::open(HKEY_LOCAL_MACHINE, key);
    for (std::size_t number = record.subkeys().size(); number-- != 0;) {
        if (const auto change = recorded(below(key, std::to_wstring(number)))) {
            restore(*change);
        }
    }
}

void delete_record(const std::wstring& key, std::size_t keys_made) noexcept
{
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
    delete_empty_keys(key.substr(0, key.rfind(L'\\')), keys_made == 0 ? 0 : keys_made - 1);
}

} // namespace

void change_journal::restore_abandoned() noexcept
{
    try {
        for (const std::wstring& owner : registry_key::open(HKEY_LOCAL_MACHINE, std::wstring(place)).subkeys()) {
            if (!is_running(owner)) {
                const std::wstring key = below(place, owner);
                const std::uint32_t keys_made =
                    registry_key::open(HKEY_LOCAL_MACHINE, key).number(keys_made_name).value_or(1);
                restore_record(key);
                delete_record(key, keys_made);
            }
        }
    } catch (const std::exception&) { // what cannot be restored now stays recorded
    }
}

change_journal::change_journal()
    : key_(below(place, identity_of(GetCurrentProcess())))
    , keys_made_(missing_keys(key_))
{
    const auto count = static_cast<DWORD>(keys_made_);
    write_value(key_, keys_made_name, REG_DWORD, &count, sizeof count);
}

change_journal::~change_journal()
{
    delete_record(key_, keys_made_);
}

void change_journal::add(const registry_change& change)
{
    const std::wstring key = below(key_, std::to_wstring(count_++));
    const auto keys_made = static_cast<DWORD>(change.keys_made);
    if (change.before) { // first, as a record is valid with its other values
        write_value(key, L"Before", REG_BINARY, change.before->data(), change.before->size());
    }
    write_text(key, L"Key", change.key);
    write_text(key, L"Name", change.name);
    write_value(key, keys_made_name, REG_DWORD, &keys_made, sizeof keys_made);
    write_value(key, L"Type", REG_DWORD, &change.type, sizeof change.type);
}

} // namespace host
