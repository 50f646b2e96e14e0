#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace test {

/// Returns all keys and values under a key, including the key itself, sorted: "path", and "path: name = data" for each
/// value. Paths are relative to `root`; a default value has the name "@"; texts are quoted, numbers are decimal. Empty
/// if the key does not exist.
std::vector<std::wstring> registry_tree(HKEY root, const std::wstring& path);

/// Writes a text and creates missing keys; returns true on success.
bool write_registry_text(HKEY root, const std::wstring& path, const std::wstring& name, const std::wstring& text);
/// Deletes a key with all its subkeys and values.
void remove_registry_tree(HKEY root, const std::wstring& path);

} // namespace test
