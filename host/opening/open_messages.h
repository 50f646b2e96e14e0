#pragma once

#include "host/files/mailbox.h"
#include "host/opening/console.h"
#include "host/opening/opening.h"
#include "host/opening/opening_report.h"

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

/// All messages behind the paths; a path that cannot be read is told and counted in `unreadable`.
std::vector<message_place> find_all_messages(const std::vector<std::string>& paths, const console& where,
                                             std::size_t& unreadable);

/// Opens each message `times` times, every time as it was saved last, and tells of it: one JSON object an opening, or a
/// table. What cannot be read is told and counted in `unreadable`; the rest is done.
void open_messages(const std::vector<message_place>& places, std::uint32_t times, bool json, const message_reader& read,
                   message_opener& client, const console& where, std::size_t& unreadable);

} // namespace host
