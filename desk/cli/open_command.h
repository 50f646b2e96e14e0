#pragma once

#include "desk/copies/saving_options.h"
#include "desk/run/console.h"
#include "desk/run/open_options.h"

#include <optional>
#include <string>

namespace host {

/// The options of "postwarden open", except those of the openings themselves.
struct mail_options
{
    saving_options saving;
    bool saved = false;    ///< the messages are copies saved by an earlier run
    std::string smime_key; ///< PEM files; both or none must be specified
    std::string smime_certificate;
};

/// Opens the messages through the whole check. A message that cannot be read or saved is reported on standard error,
/// and the others are processed.
exit_status run_open(const open_options& options, const mail_options& mail, const console& where);

} // namespace host
