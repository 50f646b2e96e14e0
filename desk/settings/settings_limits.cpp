#include "desk/settings/settings_limits.h"

#include "desk/settings/settings_json.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace DOVA::Settings {

namespace {

constexpr std::uint32_t HighestPort = 65535;

void ExpectPort(const std::string& path, std::uint32_t port, std::uint32_t lowest = 1)
{
    if (port < lowest || port > HighestPort) {
        throw SettingsJsonError(path + ": must be a port, " + std::to_string(lowest) + " to " +
                                std::to_string(HighestPort));
    }
}

void ExpectPort(const std::string& path, const std::vector<std::uint32_t>& ports)
{
    for (std::size_t i = 0; i < ports.size(); ++i) {
        ExpectPort(path + '[' + std::to_string(i) + ']', ports[i]);
    }
}

void ExpectPath(const std::string& path, const std::wstring& text)
{
    const auto isUsable = [](wchar_t letter) { return letter > L' ' && letter < L'\x7F'; };
    if (!std::all_of(text.begin(), text.end(), isUsable)) {
        throw SettingsJsonError(path + ": must be a path of printable ASCII characters without blanks");
    }
}

/// A value that is not set has no effect.
template <typename T, typename Expect>
void ExpectParts(const std::string& name, const Setting<T>& setting, Expect&& expect)
{
    expect(name + ".default", setting.default_);
    if (setting.isSet) {
        expect(name + ".value", setting.value);
    }
}

} // namespace

void ExpectWithinLimits(const WebTrafficMonitorSettings& settings)
{
    const auto port = [](const std::string& path, std::uint32_t value) { ExpectPort(path, value); };
    const auto portOrNone = [](const std::string& path, std::uint32_t value) { ExpectPort(path, value, 0); };
    const auto ports = [](const std::string& path, const std::vector<std::uint32_t>& list) { ExpectPort(path, list); };
    ExpectParts("ServerPort", settings.ServerPort, port);
    ExpectParts("Uri", settings.Uri, ExpectPath);
    ExpectParts("ExtProxyServerPort", settings.ExtProxyServerPort, portOrNone);
    ExpectParts("ProxyPort", settings.ProxyPort, portOrNone);
    ExpectParts("ControlledPorts", settings.ControlledPorts, ports);
    ExpectParts("ExcludedPorts", settings.ExcludedPorts, ports);
}

} // namespace DOVA::Settings
