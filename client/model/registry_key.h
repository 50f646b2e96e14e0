#pragma once

#include <platform/handles.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// An open registry key. A key or value that cannot be opened or read is treated as absent.
class registry_key
{
public:
    static registry_key open(HKEY root, const std::wstring& path);

    explicit operator bool() const noexcept { return static_cast<bool>(key_); }
    [[nodiscard]] std::vector<std::wstring> subkeys() const;
    /// Returns a string value. The default value has an empty name.
    [[nodiscard]] std::optional<std::wstring> text(const std::wstring& name) const;
    [[nodiscard]] std::optional<std::uint32_t> number(const std::wstring& name) const;

private:
    winapi::registry_handle key_;
};

} // namespace host
