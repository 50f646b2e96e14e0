#pragma once

#include "desk/run/open_options.h"

#include <windows.h>

#include <optional>
#include <vector>

namespace host {

/// Changes values of the machine's registry for the lifetime of the object. The destructor restores the former values
/// and deletes the keys that were created. Requires write access below HKEY_LOCAL_MACHINE.
class machine_values
{
public:
    machine_values() = default;
    machine_values(const machine_values&) = delete;
    machine_values& operator=(const machine_values&) = delete;
    ~machine_values();

    /// Throws std::runtime_error if the system denies the change.
    void set(const registry_value& wanted);

private:
    struct change
    {
        std::wstring key;
        std::wstring name;
        std::size_t keys_made = 0; ///< number of components at the end of the key's path that were created
        DWORD type = REG_NONE;
        std::optional<std::vector<BYTE>> before; ///< nullopt if there was no value
    };
    static void undo(const change& done) noexcept;

    std::vector<change> changes_;
};

} // namespace host
