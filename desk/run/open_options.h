#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace host {

/// What the user asked of a command that opens messages.
struct open_options
{
    std::vector<std::string> paths;
    std::optional<std::uint16_t> port;
    std::string uri = "webscan";
    std::string settings_file; ///< blob or JSON; empty: the service is told by port and uri
    std::uint32_t times = 1;
    std::vector<std::string> registry; ///< NAME=VALUE
    std::string log_file;
    std::optional<std::uint32_t> log_level;
    bool json = false;
};

/// Lets `command` take what open_options holds. `options` outlives it.
void add_open_options(CLI::App& command, open_options& options);

/// Options of every command that talks to a scanning service.
void add_service_options(CLI::App& command, std::optional<std::uint16_t>& port, std::string& uri, bool& json);

/// A value of the registry that --registry names.
struct registry_value
{
    std::wstring key; ///< below HKEY_LOCAL_MACHINE
    std::wstring name;
    std::variant<std::uint32_t, std::wstring> value;
};

/// Says what is wrong with a NAME=VALUE for the registry; empty when it can be set.
std::string check_registry_value(const std::string& text);
/// What a NAME=VALUE stands for that check_registry_value found nothing wrong with.
registry_value parse_registry_value(const std::string& text);

} // namespace host
