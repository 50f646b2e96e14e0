#pragma once

#include "desk/run/message_copies.h"
#include "desk/run/open_options.h"
#include "mail/files/mailbox.h"

#include <memory>
#include <optional>
#include <string>

namespace host {

/// The options for the copies of opened messages.
struct saving_options
{
    std::string save_to;               ///< folder; empty: nothing is saved
    std::optional<mail_format> format; ///< form of the copies; empty: same as the message
    bool reopen = false;
};

/// Adds the options of saving_options to `command`. `options` must outlive it.
void add_saving_options(CLI::App& command, saving_options& options);

/// Applies settings that depend on several options, once the command line has been parsed. Returns a description of
/// the error, or an empty text if there is none.
std::string settle(const CLI::App& command, open_options& options, const saving_options& saving);

/// Makes the destination of the copies; null if no copies were requested. Throws std::runtime_error with the reason.
std::unique_ptr<message_copies> make_copies(const saving_options& saving);

} // namespace host
