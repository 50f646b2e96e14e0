#pragma once

#include "desk/run/opening_report.h"

#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace host {

/// What a command is asked to report by its exit status.
enum class fail_condition
{
    condemned, ///< something was condemned
    unjudged,  ///< something with contents has no verdict, also because it is never sent
    changed    ///< a message was changed, or an object repaired
};

/// Adds the option --fail-on. `conditions` must outlive the command.
void add_fail_on(CLI::App& command, std::vector<fail_condition>& conditions);

/// Counts an opening in the totals.
void count_opening(const reported_opening& entry, opening_totals& totals);

/// Returns true if one of the conditions is met.
[[nodiscard]] bool fails_on(const std::vector<fail_condition>& conditions, const opening_totals& totals);

/// Returns the exit status for the totals: a condition that is met counts more than what could not be read or judged.
[[nodiscard]] exit_status status_of(const opening_totals& totals, const std::vector<fail_condition>& conditions);

} // namespace host
