#pragma once

#include "tests/budget/counts.h"

#include <array>

/// What one piece of work may cost. The counts of a run are in the message of a failure, and as properties in the XML
/// report of the test. A failure after a change means that the change costs more calls, allocations or sleeps of
/// threads than before: find them by `strace -f`, or by a breakpoint at the function in counted_calls_*.cpp, and take
/// them out; a budget is only raised for a reason that the commit gives. A change that needs less lowers the budget.
namespace budget {

/// A mail scan of 4 KiB on a pooled session.
extern const std::array<limit, 9> small_scan;

/// A mail scan of 64 MiB on a pooled session.
extern const std::array<limit, 3> large_scan;

/// An opening of a message with a body of 4 KiB, which is scanned.
extern const std::array<limit, 9> scanned_opening;

/// An opening of a message whose verdict is stored on it.
extern const std::array<limit, 9> known_opening;

} // namespace budget
