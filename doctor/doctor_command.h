#pragma once

#include "desk/run/console.h"

#include <string>
#include <vector>

namespace doctor {

/// Runs the command: `arguments` are those behind the name of the command, `name` is what its help shows. Prints the
/// table and returns the exit status. Does not throw. A step may still be running afterwards: see
/// is_step_left_behind().
int run(const std::vector<std::string>& arguments, const std::string& name, const std::string& version,
        const host::console& where);

} // namespace doctor
