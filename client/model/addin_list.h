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

    /// The client loads it when it starts.
    [[nodiscard]] bool loaded_at_start() const noexcept
    {
        constexpr std::uint32_t connected = 1;
        constexpr std::uint32_t at_start = 2;
        return (load_behavior & (connected | at_start)) == (connected | at_start);
    }
};

/// The add-ins that the machine and the user list, by name. The user's entry comes before the machine's of that name.
std::vector<addin_entry> list_addins();

} // namespace host
