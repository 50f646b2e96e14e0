#pragma once

#include <windows.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// What is needed to restore one value below HKEY_LOCAL_MACHINE.
struct registry_change
{
    std::wstring key;
    std::wstring name;
    std::size_t keys_made = 0; ///< number of components at the end of the key's path that the change creates
    DWORD type = REG_NONE;
    std::optional<std::vector<BYTE>> before; ///< nullopt if there is no value
};

/// Returns how to restore a value that is about to be written. Throws std::runtime_error if it cannot be read.
registry_change change_of(const std::wstring& key, const std::wstring& name);
/// Writes the former value, or deletes the value, and deletes the keys that were created and have become empty.
void restore(const registry_change& change) noexcept;

/// Returns the number of components at the end of the path that do not exist.
std::size_t missing_keys(std::wstring path);
/// Deletes up to `count` keys at the end of the path that are empty.
void delete_empty_keys(std::wstring path, std::size_t count) noexcept;

/// Writes a value and creates its key if necessary. Throws std::runtime_error if the system denies it.
void write_value(const std::wstring& key, const std::wstring& name, DWORD type, const void* bytes, std::size_t size);
void write_text(const std::wstring& key, const std::wstring& name, const std::wstring& text);
/// Returns the bytes of a value; nullopt if it cannot be read. `type` may be null.
std::optional<std::vector<BYTE>> read_value(const std::wstring& key, const std::wstring& name, DWORD* type = nullptr);

} // namespace host
