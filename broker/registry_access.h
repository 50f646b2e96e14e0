#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace broker {

/// Functions on the registry that return a Win32 error code, 0 for success. An empty name is that of the default value.

/// Sets a string value of a key and creates the key if it does not exist.
[[nodiscard]] LONG set_text(HKEY root, const std::wstring& key, const std::wstring& name, const std::wstring& text);
/// Returns a string value, nothing if it cannot be read.
[[nodiscard]] std::optional<std::wstring> text_in(HKEY root, const std::wstring& key, const std::wstring& name);
/// Removes a value. Also succeeds if it does not exist.
[[nodiscard]] LONG remove_value(HKEY root, const std::wstring& key, const std::wstring& name);
/// Removes a key with everything below it. Also succeeds if it does not exist.
[[nodiscard]] LONG remove_tree(HKEY root, const std::wstring& key);
/// Removes a key if it has neither values nor keys.
[[nodiscard]] LONG remove_if_empty(HKEY root, const std::wstring& key);

} // namespace broker
