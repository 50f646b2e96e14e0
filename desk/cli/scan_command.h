#pragma once

#include "desk/run/console.h"
#include "desk/run/fail_on.h"
#include "desk/run/terminal_options.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

enum class scan_kind
{
    mail,
    object,
    http_request,
    http_response,
    certificate,
    health
};

/// The options of "postwarden scan".
struct scan_options
{
    std::vector<std::string> files; ///< and folders; may be empty for health only
    scan_kind kind = scan_kind::mail;
    std::optional<std::uint16_t> port;
    std::string uri = "webscan";
    std::uint32_t timeout_ms = 60000;
    std::string repaired_to; ///< empty: repaired objects are not saved
    bool json = false;
    std::vector<fail_condition> fail_on;
    bool recursive = false; ///< includes the folders in a folder
    terminal_options terminal;
};

/// Runs one scan per file on a pooled session.
exit_status run_scan(const scan_options& options, const console& where);

} // namespace host
