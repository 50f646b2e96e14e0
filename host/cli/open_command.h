#pragma once

#include "host/cli/console.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

/// What the user asked of "postwarden open".
struct open_options
{
    std::vector<std::string> paths;
    std::optional<std::uint16_t> port;
    std::string uri = "webscan";
    std::uint32_t times = 1;
    std::vector<std::string> registry; ///< NAME=VALUE
    std::string log_file;
    std::optional<std::uint32_t> log_level;
    bool json = false;
};

/// Says what is wrong with a NAME=VALUE for the registry; empty when it can be set.
std::string check_registry_value(const std::string& text);

/// Opens the messages through the whole check. What cannot be read is told on standard error, and the rest is done.
exit_status run_open(const open_options& options, const console& where);

} // namespace host
