#pragma once

#include "desk/run/message_copies.h"
#include "desk/run/open_options.h"
#include "mail/files/mailbox.h"

#include <memory>
#include <optional>
#include <string>

namespace host {

/// What the user asked of the copies of opened messages.
struct saving_options
{
    std::string save_to;               ///< folder; empty: nothing is saved
    std::optional<mail_format> format; ///< of the copies; empty: as the message itself
    bool reopen = false;
};

/// Lets `command` take what saving_options holds. `options` outlives it.
void add_saving_options(CLI::App& command, saving_options& options);

/// Settles what depends on several options of a command line that was read; says what is wrong with them, empty when
/// nothing is.
std::string settle(const CLI::App& command, open_options& options, const saving_options& saving);

/// Where copies go; null when none are wanted. Raises std::runtime_error with the reason.
std::unique_ptr<message_copies> make_copies(const saving_options& saving);

} // namespace host
