#include "desk/run/answers.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <string_view>

namespace host {

namespace {

void add_answer(nlohmann::ordered_json& target, const object_answer& answer)
{
    target["state"] = text_of(answer.state);
    if (answer.state == answer_state::scanned) {
        target["verdict"] = static_cast<std::int32_t>(answer.verdict);
        target["threat"] = answer.threat;
    } else {
        target["why"] = answer.why;
    }
}

} // namespace

std::size_t opening_answers::count(answer_state state) const
{
    const auto counts = [state](const object_answer& one) { return one.state == state; };
    return static_cast<std::size_t>(std::count_if(attachments.begin(), attachments.end(), counts)) +
           (counts(body) ? 1 : 0);
}

const char* text_of(answer_state state)
{
    constexpr std::array<const char*, 3> texts{"scanned", "skipped", "no answer"};
    return texts.at(static_cast<std::size_t>(state));
}

bool opening_answers::judged() const
{
    return body.judged &&
           std::all_of(attachments.begin(), attachments.end(), [](const object_answer& one) { return one.judged; });
}

std::string answered_text(const opening_answers& answers)
{
    const std::size_t answered = answers.count(answer_state::scanned);
    const std::size_t all = answered + answers.count(answer_state::no_answer);
    if (all == 0) {
        return "-";
    }
    if (answered == 0) {
        return "none";
    }
    return answered == all ? "all" : std::to_string(answered) + " of " + std::to_string(all);
}

std::string missing_answer(const opening_answers& answers)
{
    if (answers.body.state == answer_state::no_answer) {
        return "the body: " + answers.body.why;
    }
    for (const attachment_answer& one : answers.attachments) {
        if (one.state == answer_state::no_answer) {
            return "attachment \"" + one.name + "\": " + one.why;
        }
    }
    return {};
}

nlohmann::ordered_json to_json(const opening_answers& answers)
{
    nlohmann::ordered_json result;
    result["complete"] = answers.complete();
    add_answer(result["body"], answers.body);
    auto& list = result["attachments"] = nlohmann::ordered_json::array();
    for (const attachment_answer& one : answers.attachments) {
        nlohmann::ordered_json entry;
        entry["number"] = one.number;
        entry["name"] = one.name;
        add_answer(entry, one);
        list.push_back(std::move(entry));
    }
    return result;
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
