#include "packaging/configure/configuration_texts.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace packaging {

namespace {

std::vector<std::string> engines_in(const std::string& list)
{
    std::vector<std::string> engines;
    for (std::size_t begin = 0; begin <= list.size();) {
        const std::size_t end = std::min(list.find(';', begin), list.size());
        const std::string engine = list.substr(begin, end - begin);
        if (engine.empty()) {
            throw std::invalid_argument("ENGINE: an engine is missing");
        }
        // A configuration file has no other way to contain these.
        if (engine.find_first_of("\"\r\n") != std::string::npos) {
            throw std::invalid_argument("ENGINE: contains a quotation mark or the end of a line");
        }
        engines.push_back('"' + engine + '"');
        begin = end + 1;
    }
    return engines;
}

std::string value_of(const std::vector<std::string>& engines)
{
    if (engines.size() == 1) {
        return engines.front();
    }
    std::string value;
    for (const std::string& engine : engines) {
        value.append(value.empty() ? "[" : ", ").append(engine);
    }
    return value + ']';
}

} // namespace

std::string service_configuration(std::uint16_t port, const std::string& engines, const std::string& log)
{
    return "# The options of the scanning service: each key is an option of \"postwarden-service --help\" without "
           "\"--\".\n"
           "# Another port must be specified in settings.json too, from which the mail add-in learns it.\n"
           "port = " +
           std::to_string(port) + "\nengine = " + value_of(engines_in(engines)) +
           "\n\n# The log of the service. This folder is the only one here that the service can write to.\n# log = \"" +
           log + "\"\n# log-level = 300\n";
}

std::string broker_settings(std::uint16_t port)
{
    return "{\n  \"ServerPort\": { \"value\": " + std::to_string(port) + ", \"isSet\": true }\n}\n";
}

} // namespace packaging
