#pragma once

#include "service/engine/scan_engine.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace service {

/// Returns the verdict in clamd's reply to INSTREAM, given without its terminating byte: "stream: OK",
/// "stream: NAME FOUND" or a text that ends with " ERROR". Any other text yields an error verdict. Names by which clamd
/// reports an encrypted object or one that exceeds its limits, and the error for an object that is too large, yield an
/// unchecked verdict.
[[nodiscard]] verdict read_clamd_reply(std::string_view reply);

/// Returns when the signatures were made that clamd's reply to VERSION names, "ClamAV 1.4.1/27400/Mon Sep 16 08:30:00
/// 2024", in seconds since 1970. The time is in the zone of this machine. Returns no value for any other reply.
[[nodiscard]] std::optional<std::int64_t> clamd_signatures_time(std::string_view version);

/// Returns `text` in a form suitable for a log line: printable ASCII only, other bytes as "?", at most 200 characters.
[[nodiscard]] std::string printable(std::string_view text);

} // namespace service
