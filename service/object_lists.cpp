#include "service/object_lists.h"

#include "service/file_names.h"
#include "service/safe_text.h"
#include "tool/system/ascii.h"

#include <algorithm>
#include <stdexcept>

namespace service {

namespace {

std::vector<wildcard> patterns(const std::vector<std::string>& texts)
{
    return {texts.begin(), texts.end()};
}

std::vector<wildcard> name_patterns(const std::vector<std::string>& texts)
{
    for (const std::string& text : texts) {
        if (text.find_first_of("/\\:") != std::string::npos) {
            throw std::invalid_argument("'" + display_text(text) + "' is no pattern of a name: it contains a path");
        }
    }
    return patterns(texts);
}

std::vector<wildcard> type_patterns(const std::vector<std::string>& texts)
{
    for (const std::string& text : texts) {
        if (std::count(text.begin(), text.end(), '/') != 1 || text.find_first_of(" ;") != std::string::npos) {
            throw std::invalid_argument("'" + display_text(text) +
                                        "' is no pattern of a MIME type, such as application/x-msdownload or image/*");
        }
    }
    return patterns(texts);
}

bool any_matches(const std::vector<wildcard>& list, std::u32string_view text)
{
    return std::any_of(list.begin(), list.end(), [text](const wildcard& pattern) { return pattern.matches(text); });
}

/// Returns a MIME type without its parameters, comments and blanks.
std::string_view type_alone(std::string_view value)
{
    value = winapi::trimmed_left(value);
    return value.substr(0, value.find_first_of(" \t\r\n;,("));
}

} // namespace

object_lists::object_lists(const list_options& options)
    : ignored_threats_(patterns(options.ignored_threats))
    , forbidden_names_(name_patterns(options.forbidden_names))
    , forbidden_types_(type_patterns(options.forbidden_types))
{}

std::optional<cause> object_lists::forbid(const listed_object& object) const
{
    if (!forbidden_names_.empty()) {
        const auto names = file_names(object.name);
        if (std::any_of(names.begin(), names.end(),
                        [this](const std::u32string& name) { return any_matches(forbidden_names_, name); })) {
            return cause::forbidden_name;
        }
    }
    const std::string_view type = type_alone(object.type);
    if (!type.empty() && any_matches(forbidden_types_, without_case(type))) {
        return cause::forbidden_type;
    }
    return std::nullopt;
}

/// An administrator sees the text of the engine in the log and in the notice, and its other form in the answer.
bool object_lists::ignores(std::string_view threat) const
{
    return any_matches(ignored_threats_, without_case(threat)) ||
           any_matches(ignored_threats_, without_case(threat_name(threat)));
}

} // namespace service
