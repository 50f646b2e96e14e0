#pragma once

#include "desk/copies/saving_options.h"
#include "desk/run/console.h"
#include "desk/run/open_options.h"

#include <optional>
#include <string>

namespace host {

/// What the user asked of "postwarden open" beside the openings themselves.
struct mail_options
{
    saving_options saving;
    bool saved = false;    ///< the messages are copies that were saved so
    std::string smime_key; ///< PEM files, both or none
    std::string smime_certificate;
};

/// Opens the messages through the whole check. What cannot be read or saved is told on standard error, and the rest is
/// done.
exit_status run_open(const open_options& options, const mail_options& mail, const console& where);

} // namespace host
