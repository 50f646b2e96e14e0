#pragma once

#include "host/opening/console.h"
#include "host/opening/open_options.h"

namespace host {

/// Opens the messages through the whole check. What cannot be read is told on standard error, and the rest is done.
exit_status run_open(const open_options& options, const console& where);

} // namespace host
