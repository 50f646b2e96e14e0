#pragma once

#include "service/scan_server.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace service {

/// The values of the program's command line.
struct command_line
{
    server_options server;
    std::uint64_t memory_body = std::uint64_t{4} << 20U; ///< bytes up to which an object is kept in memory
    std::string log_file;                                ///< UTF-8; empty: no file
    std::optional<std::uint32_t> log_level;
    bool hold_presence = false;
    std::string config_file; ///< empty: none
    bool check_config = false;
    bool print_config = false;
};

/// Returns the level of the log: the one that was specified, else that of a file, or of standard error.
[[nodiscard]] std::uint32_t effective_log_level(const command_line& values);

/// Adds all options of the program to `app`, which stores their values in `values`. Both must exist while the command
/// line is parsed. The text of `--help` is part of this function; docs/service.md describes the options.
void add_options(CLI::App& app, command_line& values);

/// Parses the arguments. Throws CLI::ParseError, for an unknown option with the nearest known one.
void parse_arguments(CLI::App& app, std::vector<std::string> arguments);

} // namespace service
