#pragma once

#include "service/scan_engine.h"

#include <string>
#include <string_view>

namespace service {

/// The verdict in a reply of clamd to INSTREAM, without the byte that ends it: "stream: OK", "stream: NAME FOUND" or a
/// text that ends with " ERROR". Everything else is an error verdict.
[[nodiscard]] verdict read_clamd_reply(std::string_view reply);

/// `text` fit for a log line: printable ASCII only, other bytes as "?", at most 200 characters.
[[nodiscard]] std::string printable(std::string_view text);

} // namespace service
