#include "service/engine/icap_findings.h"

#include "service/engine/clamd_reply.h"
#include "tool/system/ascii.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>

namespace service {

using winapi::same_no_case;
using winapi::take_part;
using winapi::trimmed;

namespace {

/// Returns the value of a key in "Type=0; Resolution=2; Threat=name;"; empty if there is none.
std::string_view infection_value(std::string_view text, std::string_view key)
{
    while (!text.empty()) {
        std::string_view entry = take_part(text, ';');
        if (same_no_case(take_part(entry, '='), key)) {
            return trimmed(entry);
        }
    }
    return {};
}

/// Returns the name of the first threat in a list of violations: their number, then four lines for each, the second of
/// which is the name. Nothing if there are none.
std::optional<std::string> first_violation(std::string_view text)
{
    const std::string_view count = take_part(text, '\n');
    if (count == "0") {
        return std::nullopt;
    }
    take_part(text, '\n'); // the name of the file
    const std::string_view name = take_part(text, '\n');
    return printable(name.empty() ? "unknown violation" : name);
}

std::optional<std::size_t> number_in(std::string_view text)
{
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

} // namespace

/// A field that is repeated reports further threats: each counts.
std::optional<std::string> reported_threat(const icap_head& head)
{
    const auto infections = head.all("X-Infection-Found");
    for (const std::string_view infection : infections) {
        if (const std::string_view name = infection_value(infection, "Threat"); !name.empty()) {
            return printable(name);
        }
    }
    if (const auto ids = head.all("X-Virus-ID"); !ids.empty()) {
        return printable(ids.front());
    }
    for (const std::string_view violations : head.all("X-Violations-Found")) {
        if (auto name = first_violation(violations)) {
            return name;
        }
    }
    if (!infections.empty()) {
        return "unknown threat";
    }
    return std::nullopt;
}

bool reports_repair(const icap_head& head)
{
    const auto infections = head.all("X-Infection-Found");
    return !infections.empty() && std::all_of(infections.begin(), infections.end(), [](std::string_view infection) {
        return infection_value(infection, "Resolution") == "1";
    });
}

icap_options read_icap_options(const icap_head& head)
{
    if (head.status != icap_status::ok) {
        throw std::runtime_error("options: status " + std::to_string(head.status));
    }
    if (!winapi::list_contains(head.field("Methods"), "RESPMOD")) {
        throw std::runtime_error("options: no RESPMOD");
    }
    return {number_in(head.field("Preview")), number_in(head.field("Options-TTL")), istag_of(head),
            number_in(head.field("Max-Connections")).value_or(0)};
}

std::string istag_of(const icap_head& head)
{
    std::string_view tag = head.field("ISTag");
    if (tag.size() >= 2 && tag.starts_with('"') && tag.ends_with('"')) {
        tag = tag.substr(1, tag.size() - 2);
    }
    return printable(tag);
}

} // namespace service
