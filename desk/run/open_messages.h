#pragma once

#include "desk/run/console.h"
#include "desk/run/message_copies.h"
#include "desk/run/opening.h"
#include "desk/run/opening_report.h"
#include "mail/files/mailbox.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace host {

/// Reads the message at a place into a record of `store`. Raises an exception derived from std::exception, with the
/// reason for people, when it cannot be read.
using message_reader =
    std::function<message_record(const message_place& place, const std::shared_ptr<store_context>& store)>;

/// All messages behind the paths; a path that cannot be read is told and counted in `totals`.
std::vector<message_place> find_all_messages(const std::vector<std::string>& paths, const console& where,
                                             opening_totals& totals);

/// How messages are opened.
struct opening_plan
{
    std::uint32_t times = 1; ///< openings of each message
    bool json = false;       ///< tell of them in JSON, one object an opening, instead of in a table
    /// Takes a copy of each message as its first opening leaves it; null: nothing is saved.
    message_copies* copies = nullptr;
    /// Each further opening starts from the copy, read from disk, and leaves a new one; otherwise from the message as
    /// its store has it.
    bool reopen = false;
};

/// Opens each message and tells of it. All messages are those of one store. What cannot be read or saved is told and
/// counted in `totals`; the rest is done.
void open_messages(const std::vector<message_place>& places, const opening_plan& plan, const message_reader& read,
                   message_opener& client, const console& where, opening_totals& totals);

} // namespace host
