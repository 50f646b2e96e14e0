#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace test {

/// All keys and values under a key, the key itself included, sorted: "path", and for each value "path: name = data".
/// Paths are relative to `root`; a default value has the name "@"; texts stand in quotes, numbers are decimal. Empty
/// when there is no such key.
std::vector<std::wstring> registry_tree(HKEY root, const std::wstring& path);

/// Writes a text, making the keys on the way; true when it is there.
bool write_registry_text(HKEY root, const std::wstring& path, const std::wstring& name, const std::wstring& text);
/// Removes a key with all that is under it.
void remove_registry_tree(HKEY root, const std::wstring& path);

} // namespace test
