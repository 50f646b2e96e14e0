#pragma once

#include "doctor/row.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace doctor {

inline void PrintTo(row_state state, std::ostream* out)
{
    *out << static_cast<int>(state);
}

inline void PrintTo(const finding& result, std::ostream* out)
{
    *out << static_cast<int>(result.state) << ": " << result.found << " / " << result.remedy;
}

/// Matches a finding by its state, and parts of its texts. A finding has a remedy exactly if it has a fault.
MATCHER_P3(is_finding, state, found, remedy, "")
{
    const bool has_fault = arg.state == row_state::warning || arg.state == row_state::failed;
    return arg.state == state && arg.found.find(found) != std::string::npos &&
           arg.remedy.find(remedy) != std::string::npos && has_fault == !arg.remedy.empty();
}

} // namespace doctor
