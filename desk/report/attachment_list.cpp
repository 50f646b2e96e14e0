#include "desk/report/attachment_list.h"

#include "desk/report/page_text.h"

#include <algorithm>
#include <cstddef>

namespace host {

namespace {

constexpr std::size_t most_listed = 50;

const attachment_snapshot* with_number(const message_snapshot& message, std::uint32_t number)
{
    const auto found = std::lower_bound(message.attachments.begin(), message.attachments.end(), number,
                                        [](const auto& entry, std::uint32_t wanted) { return entry.number < wanted; });
    return found == message.attachments.end() || found->number != number ? nullptr : &*found;
}

bool is_same(const attachment_snapshot& left, const attachment_snapshot& right)
{
    return left.name == right.name && left.method == right.method && left.embedded == right.embedded &&
           same_bytes(left.data, right.data);
}

/// Returns the words for an attachment that has or has not a counterpart in the other state of the message.
std::string_view fate(const attachment_snapshot& entry, const attachment_snapshot* other, std::string_view alone)
{
    if (!other) {
        return alone;
    }
    return is_same(entry, *other) ? "kept" : "changed";
}

std::string item(const attachment_snapshot& entry, std::string_view fate, const std::string& answer)
{
    std::string result("<li class=");
    result.append(fate).append(">");
    result.append(entry.name.empty() ? "<span class=none>no name</span>" : isolated_text(entry.name, 120));
    result.append(" <small>").append(size_text(entry.size));
    const std::string type = entry.embedded ? "message" : entry.mime_tag;
    if (!type.empty()) {
        result.append(", ").append(isolated_text(type, 60));
    }
    result.append("</small> <b>").append(fate).append("</b>");
    return result.append(entry.hidden ? " <b>hidden</b>" : "").append(answer);
}

/// Returns the answer to the attachment with this number; empty if it was not asked for.
std::string answer_to(const std::vector<attachment_answer>& answers, std::uint32_t number)
{
    const auto found = std::find_if(answers.begin(), answers.end(),
                                    [number](const attachment_answer& answer) { return answer.number == number; });
    return found == answers.end() ? std::string() : answer_text(*found);
}

std::string list(const message_snapshot& shown, const message_snapshot& other, std::string_view alone,
                 const std::vector<attachment_answer>& answers)
{
    if (shown.attachments.empty()) {
        return "<span class=none>none</span>";
    }
    std::string result("<ul class=attachments>");
    const std::size_t count = std::min(shown.attachments.size(), most_listed);
    for (std::size_t i = 0; i < count; ++i) {
        const attachment_snapshot& entry = shown.attachments[i];
        result.append(
            item(entry, fate(entry, with_number(other, entry.number), alone), answer_to(answers, entry.number)));
    }
    if (count < shown.attachments.size()) {
        result.append("<li>").append(std::to_string(shown.attachments.size() - count)).append(" more");
    }
    return result.append("</ul>");
}

} // namespace

std::string attachments_before(const reported_opening& entry)
{
    // The answers to an encrypted message refer to attachments inside of it.
    const auto& answers = entry.result.answers.attachments;
    return list(entry.before, entry.after, "taken",
                entry.result.encrypted ? std::vector<attachment_answer>() : answers);
}

std::string attachments_after(const reported_opening& entry)
{
    return list(entry.after, entry.before, "added", {});
}

std::string answer_text(const object_answer& answer)
{
    std::string result;
    if (answer.state == answer_state::scanned && !answer.threat.empty()) {
        result.append(" <span class=threat>").append(isolated_text(answer.threat, 120)).append("</span>");
    } else if (answer.state != answer_state::scanned) {
        result.append(answer.state == answer_state::skipped ? " <span class=skipped>" : " <span class=answer>");
        result.append(text_of(answer.state));
        result.append(answer.why.empty() ? "" : ": " + isolated_text(answer.why)).append("</span>");
    }
    return result;
}

} // namespace host
