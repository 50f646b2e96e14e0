#pragma once

#include "desk/run/console.h"

namespace host {

/// The command "postwarden": parses the arguments and runs the requested subcommand. Does not throw: errors are printed
/// as lines on standard error, and the result is the exit status: an exit_status, or one of doctor/report.h.
int run(int argc, const char* const* argv, const console& where);

} // namespace host
