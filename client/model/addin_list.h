#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host {

/// One add-in that is registered for the mail client.
struct addin_entry
{
    std::wstring prog_id;
    std::wstring friendly_name;
    std::uint32_t load_behavior = 0;
    bool of_user = false; ///< registered for the current user only

    /// Returns true if the client loads the add-in when it starts.
    [[nodiscard]] bool loaded_at_start() const noexcept
    {
        constexpr std::uint32_t connected = 1;
        constexpr std::uint32_t at_start = 2;
        return (load_behavior & (connected | at_start)) == (connected | at_start);
    }
};

/// Returns the add-ins that are registered for the machine and the user, by name. An entry of the user precedes the
/// machine's entry of the same name.
std::vector<addin_entry> list_addins();

} // namespace host
