#pragma once

#include "desk/run/console.h"
#include "desk/run/expected_work.h"
#include "desk/run/message_copies.h"
#include "desk/run/opening.h"
#include "desk/run/opening_report.h"
#include "mail/inputs/message_finder.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace host {

/// Reads the message at a place into a record of `store`. Throws an exception derived from std::exception, with the
/// reason for display, if it cannot be read.
using message_reader =
    std::function<message_record(const message_place& place, const std::shared_ptr<store_context>& store)>;

/// Specifies how messages are opened.
struct opening_plan
{
    std::uint32_t times = 1; ///< openings of each message
    bool json = false;       ///< report in JSON, one object per opening, instead of a table
    /// Receives a copy of each message after its first opening. Null: nothing is saved.
    message_copies* copies = nullptr;
    /// If true, each further opening reads the copy from disk and writes a new one; otherwise it uses the message as it
    /// is in its store.
    bool reopen = false;
    opening_report* second = nullptr; ///< receives the same as the report on the console; null: none
    expected_work expected = {};      ///< for the width of the table, and the progress
    /// Called after each opening; an output_failure that it throws ends the run. May be empty.
    std::function<void()> check_output = {};
};

/// Opens each message and reports the openings. All messages belong to one store. An input or a message that cannot be
/// read, or a message that cannot be saved, is reported and counted in `totals`; the others are processed.
void open_messages(message_source& places, const opening_plan& plan, const message_reader& read, message_opener& client,
                   const console& where, opening_totals& totals);

} // namespace host
