#include "service/policy.h"

#include <variant>

namespace service {

namespace {

constexpr std::uint32_t object_too_large = 413;
constexpr std::uint32_t first_server_error = 500;

std::optional<cause> if_blocked(treatment chosen, cause why)
{
    return chosen == treatment::block ? std::optional(why) : std::nullopt;
}

} // namespace

std::optional<cause> policies::withhold(const verdict& outcome) const
{
    if (std::holds_alternative<error_verdict>(outcome)) {
        return if_blocked(unreachable, cause::no_engine);
    }
    if (std::holds_alternative<unchecked_verdict>(outcome)) {
        return if_blocked(unchecked, cause::not_looked_into);
    }
    return std::nullopt;
}

std::optional<cause> policies::withhold_late() const
{
    return if_blocked(unreachable, cause::too_late);
}

/// A request that the peer got wrong is not the object's fault, and nothing is withheld for it.
std::optional<cause> policies::withhold_unread(std::uint32_t status) const
{
    if (status == object_too_large) {
        return if_blocked(unchecked, cause::too_large);
    }
    return status >= first_server_error ? if_blocked(unreachable, cause::no_engine) : std::nullopt;
}

} // namespace service
