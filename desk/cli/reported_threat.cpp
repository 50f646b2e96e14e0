#include "desk/cli/reported_threat.h"

#include "service/engine/icap_findings.h"
#include "tool/icap/response_message.h"
#include "tool/system/ascii.h"

#include <array>
#include <string_view>

namespace host {

namespace {

/// Returns the value with "\n" for each line end of a folded value, without the blanks that follow it.
std::string unfolded(std::string_view value)
{
    std::string lines;
    while (!value.empty()) {
        const std::string_view line = winapi::trimmed(winapi::take_part(value, '\n'));
        lines.append(lines.empty() ? "" : "\n").append(line);
    }
    return lines;
}

} // namespace

std::string reported_threat(const icap::client::session::answer_ptr& answer)
{
    if (!answer) {
        return {};
    }
    constexpr std::array names{"X-Infection-Found", "X-Virus-ID", "X-Violations-Found"};
    service::icap_head head;
    for (const char* name : names) {
        if (const auto value = answer->headers().get(name)) {
            head.fields.emplace_back(name, unfolded({value->data(), value->size()}));
        }
    }
    return service::reported_threat(head).value_or("");
}

} // namespace host
