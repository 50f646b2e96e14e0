#pragma once

#include "desk/copies/saving_options.h"
#include "desk/run/console.h"
#include "desk/run/open_options.h"

#include <string>

namespace host {

/// What the user asked of mailhost.
struct mailhost_options
{
    open_options open;
    saving_options saving;
    std::string version = "16.0.4266.1001"; ///< what the application object tells the add-ins
    std::string decrypted;                  ///< folder of what is inside encrypted messages; empty: they stay closed
};

/// Opens the messages with the registered add-ins, as the mail client would.
exit_status run_mailhost(const mailhost_options& options, const console& where);

} // namespace host
