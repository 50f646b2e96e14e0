#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace doctor {

/// The state of a row, from best to worst.
enum class row_state
{
    not_applicable, ///< the machine has nothing that this row is about
    ok,
    warning, ///< mail is scanned, but not as it should be
    failed   ///< mail is not scanned, or the row could not be examined
};

/// What one step found.
struct finding
{
    row_state state = row_state::failed;
    std::string found;  ///< one sentence
    std::string remedy; ///< what to do; empty for a row without a fault
};

[[nodiscard]] inline finding ok(std::string found)
{
    return {row_state::ok, std::move(found), {}};
}

[[nodiscard]] inline finding not_applicable(std::string found)
{
    return {row_state::not_applicable, std::move(found), {}};
}

[[nodiscard]] inline finding warning(std::string found, std::string remedy)
{
    return {row_state::warning, std::move(found), std::move(remedy)};
}

[[nodiscard]] inline finding failed(std::string found, std::string remedy)
{
    return {row_state::failed, std::move(found), std::move(remedy)};
}

/// One row of the table.
struct row
{
    std::string name;
    finding result;
    std::uint64_t elapsed_ms = 0;
};

} // namespace doctor
