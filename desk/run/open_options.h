#pragma once

#include "desk/run/expected_work.h"
#include "desk/run/fail_on.h"
#include "desk/run/terminal_options.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace host {

/// The options of a command that opens messages.
struct open_options
{
    std::vector<std::string> paths;
    std::optional<std::uint16_t> port;
    std::string uri = "webscan";
    std::string settings_file; ///< blob or JSON; empty: the service is specified by port and uri
    std::uint32_t times = 1;
    std::vector<std::string> registry; ///< NAME=VALUE
    bool rescan = false;
    bool hardened = false; ///< short form of a value of the registry, as each switch of the check has one
    std::string log_file;
    std::optional<std::uint32_t> log_level;
    bool json = false;
    std::vector<fail_condition> fail_on;
    std::string page;       ///< file of the HTML page; empty: none is written
    bool recursive = false; ///< includes the folders in a folder
    terminal_options terminal;
};

/// Adds the options of open_options to `command`. `options` must outlive it.
void add_open_options(CLI::App& command, open_options& options);

/// Examines the inputs of the command as far as its output needs it.
expected_work expected_work_of(const open_options& options, const console& where);

/// Adds the options of every command that connects to a scanning service.
void add_service_options(CLI::App& command, std::optional<std::uint16_t>& port, std::string& uri, bool& json);

/// A registry value specified by --registry.
struct registry_value
{
    std::wstring key; ///< below HKEY_LOCAL_MACHINE
    std::wstring name;
    std::variant<std::uint32_t, std::wstring> value;
};

/// Reports how far a run came that was stopped; nothing if it was not.
void report_stop(const open_options& options, const opening_totals& totals, const console& where);

/// Validates a NAME=VALUE for the registry. Returns a description of the error; empty if it is valid.
std::string check_registry_value(const std::string& text);
/// Parses a NAME=VALUE that check_registry_value accepted.
registry_value parse_registry_value(const std::string& text);
/// Returns the values that the options specify, in the order in which they are to be set: those of --registry, then
/// those of the short forms.
std::vector<registry_value> registry_values(const open_options& options);

} // namespace host
