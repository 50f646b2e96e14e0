#pragma once

#include "desk/copies/saving_options.h"
#include "desk/run/console.h"
#include "desk/run/open_options.h"

#include <string>

namespace host {

/// The options of mailhost.
struct mailhost_options
{
    open_options open;
    saving_options saving;
    std::string version = "16.0.4266.1001"; ///< version that the application object reports to the add-ins
    bool registered_broker = false;         ///< the settings come from the broker that is registered for the machine
    std::string decrypted; ///< folder with the contents of encrypted messages; empty: encrypted messages stay closed
};

/// Opens the messages with the registered add-ins, as the mail client does.
exit_status run_mailhost(const mailhost_options& options, const console& where);

} // namespace host
