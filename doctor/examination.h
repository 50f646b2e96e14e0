#pragma once

#include "doctor/row.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace doctor {

/// One row to be examined.
struct check
{
    std::string name;
    std::function<finding()> examine; ///< owns what it uses, because it may be left behind
    std::string when_hanging;         ///< what to do if it does not end in time
};

/// Examines the rows one after another, each for `longest` at most.
[[nodiscard]] std::vector<row> examine(const std::vector<check>& checks, std::chrono::milliseconds longest);

/// Returns the checks with these names, in the order of `checks`; all of them if there are no names. Throws
/// std::invalid_argument for a name that no check has.
[[nodiscard]] std::vector<check> chosen(const std::vector<check>& checks, const std::vector<std::string>& names);

} // namespace doctor
