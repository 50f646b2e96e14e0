#pragma once

#include "desk/run/console.h"

namespace host {

/// The command "postwarden": understands the arguments and runs what they ask for. Lets no exception out; errors are
/// lines on standard error, the result is the exit status.
exit_status run(int argc, const char* const* argv, const console& where);

} // namespace host
