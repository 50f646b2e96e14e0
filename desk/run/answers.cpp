#include "desk/run/answers.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace host {

bool opening_answers::complete() const
{
    const auto lacks = [](const object_answer& one) { return one.state == answer_state::no_answer; };
    return !lacks(body) && std::none_of(attachments.begin(), attachments.end(), lacks);
}

const char* text_of(answer_state state)
{
    constexpr std::array<const char*, 3> texts{"scanned", "skipped", "no answer"};
    return texts.at(static_cast<std::size_t>(state));
}

std::string threats_of(const opening_answers& answers)
{
    std::vector<std::string_view> names{answers.body.threat};
    for (const attachment_answer& one : answers.attachments) {
        if (std::find(names.begin(), names.end(), one.threat) == names.end()) {
            names.emplace_back(one.threat);
        }
    }
    std::string text;
    for (const std::string_view name : names) {
        if (!name.empty()) {
            text.append(text.empty() ? "" : ", ").append(name);
        }
    }
    return text;
}

} // namespace host
