#pragma once

#include <string_view>

namespace service {

/// Why an object is withheld.
enum class cause
{
    threat,          ///< an engine found one
    not_looked_into, ///< the engine works, but cannot look into the object
    too_large,       ///< for this service
    no_engine,       ///< none can judge at present
    too_late,        ///< there was no verdict in time
    forbidden_name,  ///< by the lists of the administrator
    forbidden_type
};

/// Returns what X-Infection-Found names in place of a threat, for every cause except `threat`.
[[nodiscard]] constexpr std::string_view threat_of(cause why) noexcept
{
    switch (why) {
    case cause::threat:
        break;
    case cause::not_looked_into:
        return "Unchecked.Content";
    case cause::too_large:
        return "Unchecked.Size";
    case cause::no_engine:
        return "Unchecked.NoEngine";
    case cause::too_late:
        return "Unchecked.Timeout";
    case cause::forbidden_name:
        return "Blocked.Name";
    case cause::forbidden_type:
        return "Blocked.Type";
    }
    return {};
}

} // namespace service
