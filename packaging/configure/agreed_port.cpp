#include "packaging/configure/agreed_port.h"

#include "desk/settings/settings_json.h"
#include "service/configuration/configuration_file.h"

#include <charconv>
#include <stdexcept>

namespace packaging {

namespace {

std::optional<std::uint16_t> number_of(const std::string& text)
{
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto [behind, failure] = std::from_chars(text.data(), end, port);
    if (failure != std::errc() || behind != end || port == 0) {
        return {};
    }
    return port;
}

} // namespace

std::uint16_t port_of(const std::string& text)
{
    const auto port = number_of(text);
    if (!port) {
        throw std::invalid_argument("PORT: must be a number from 1 to 65535");
    }
    return *port;
}

std::optional<std::uint16_t> port_of_service(const std::string& configuration)
{
    std::optional<std::uint16_t> port;
    const auto contents = service::parse_configuration(configuration, "service.conf");
    for (const service::file_entry& entry : contents.entries) {
        if (entry.key == "port" && entry.values.size() == 1) {
            port = number_of(entry.values.front());
        }
    }
    return contents.problems.empty() ? port : std::nullopt;
}

std::optional<std::uint16_t> port_of_addin(const std::string& settings)
{
    try {
        return number_of(std::to_string(DOVA::Settings::SettingsFromJson(settings).ServerPort.Effective()));
    } catch (const DOVA::Settings::SettingsJsonError&) {
        return {};
    }
}

std::uint16_t agreed_port(const std::string& wanted, std::optional<std::uint16_t> other, const std::string& other_name)
{
    if (wanted.empty()) {
        return other.value_or(
            static_cast<std::uint16_t>(DOVA::Settings::WebTrafficMonitorSettings().ServerPort.Effective()));
    }
    const std::uint16_t port = port_of(wanted);
    if (other && *other != port) {
        throw std::invalid_argument("PORT: " + other_name + " is there already and specifies " +
                                    std::to_string(*other) + ": leave PORT out, or change that file first");
    }
    return port;
}

} // namespace packaging
