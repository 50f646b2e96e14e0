#pragma once

#include "desk/run/open_options.h"

#include <windows.h>

#include <optional>
#include <vector>

namespace host {

/// Values of the machine's registry that are other ones while this lives. The end puts back what stood there, and
/// takes away the keys that had to be made. Needs the right to write below HKEY_LOCAL_MACHINE.
class machine_values
{
public:
    machine_values() = default;
    machine_values(const machine_values&) = delete;
    machine_values& operator=(const machine_values&) = delete;
    ~machine_values();

    /// Raises std::runtime_error when the system refuses.
    void set(const registry_value& wanted);

private:
    struct change
    {
        std::wstring key;
        std::wstring name;
        std::size_t keys_made = 0; ///< so many of the last names of the key's path
        DWORD type = REG_NONE;
        std::optional<std::vector<BYTE>> before; ///< nothing when there was no value
    };
    static void undo(const change& done) noexcept;

    std::vector<change> changes_;
};

} // namespace host
