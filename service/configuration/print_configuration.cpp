#include "service/configuration/configuration.h"
#include "service/configuration/configuration_file.h"
#include "service/safe_text.h"

#include <string>

namespace service {

namespace {

/// Returns the values as a file contains them; an empty text if it cannot.
std::string values_in_file(const std::vector<std::string>& values)
{
    std::string list;
    for (const std::string& value : values) {
        const std::string one = value_in_file(value);
        if (one.empty()) {
            return {};
        }
        list.append(list.empty() ? "" : ", ").append(one);
    }
    return values.size() > 1 ? "[" + list + "]" : list;
}

} // namespace

std::string printed(const configuration& shown)
{
    std::string text;
    for (setting one : shown.settings) {
        if (one.name == "log-level" && one.values.empty()) {
            one.values.push_back(std::to_string(effective_log_level(shown.values)));
        }
        const std::string origin = display_text(one.origin);
        const std::string values = values_in_file(one.values);
        if (!values.empty()) {
            text.append(one.name).append(" = ").append(values).append(" # ").append(origin).append("\n");
        } else if (one.values.empty()) {
            text.append("# ").append(one.name).append(" has no value # ").append(origin).append("\n");
        } else {
            text.append("# ").append(one.name).append(" has a value that a file cannot contain # ");
            text.append(origin).append("\n");
        }
    }
    return text;
}

} // namespace service
