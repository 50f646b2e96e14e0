#pragma once

#include "desk/cli/scan_command.h"
#include "store/bytes.h"
#include "tool/icap_client/session.h"

#include <cstdint>
#include <string>

namespace host {

/// The outcome of one scan.
struct scan_outcome
{
    ScanResult result = ScanResult::None;
    std::string threat;
    std::string istag;
    bool answered = true; ///< false: the service gave no verdict, which counts as clean
    bool sent = true;     ///< false: too small to be sent
    bool empty = false;   ///< there are no contents
    std::uint64_t elapsed_ms = 0;
    bytes_ptr repaired; ///< null if nothing was repaired
};

/// Scans one file on a session, as the kind in the options specifies. `file` is empty for a question that needs no
/// file. Throws an exception derived from std::exception, with the reason, if the file cannot be read or is not of its
/// kind.
scan_outcome run_file_scan(const scan_options& options, const std::string& file, icap::client::session& session);

} // namespace host
