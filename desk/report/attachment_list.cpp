#include "desk/report/attachment_list.h"

#include "desk/report/page_text.h"

#include <algorithm>
#include <cstddef>

namespace host {

namespace {

constexpr std::size_t most_listed = 50;
constexpr std::string_view kept = "kept";

/// Returns the words for an attachment that has or has not a counterpart in the other state of the message.
std::string_view fate(const attachment_snapshot& entry, const attachment_snapshot* other, std::string_view alone)
{
    if (!other) {
        return alone;
    }
    return same_attachment(entry, *other) ? kept : "changed";
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

/// Returns the list of one state. What was not kept precedes the rest if there are too many.
std::string list(const message_snapshot& shown, const message_snapshot& other, std::string_view alone,
                 const std::vector<attachment_answer>& answers)
{
    if (shown.attachments.empty()) {
        return "<span class=none>none</span>";
    }
    std::vector<std::string_view> fates;
    for (const attachment_snapshot& entry : shown.attachments) {
        fates.push_back(fate(entry, attachment_with(other, entry.number), alone));
    }
    const auto unchanged = static_cast<std::size_t>(std::count(fates.begin(), fates.end(), kept));
    std::size_t room = std::min(most_listed, fates.size() - unchanged);
    std::size_t room_for_kept = most_listed - room;
    std::size_t left_out = 0;
    std::string result("<ul class=attachments>");
    for (std::size_t i = 0; i < fates.size(); ++i) {
        std::size_t& left = fates[i] == kept ? room_for_kept : room;
        if (left == 0) {
            ++left_out;
            continue;
        }
        --left;
        const attachment_snapshot& entry = shown.attachments[i];
        result.append(item(entry, fates[i], answer_to(answers, entry.number)));
    }
    if (left_out != 0) {
        result.append("<li>").append(std::to_string(left_out)).append(" more");
    }
    return result.append("</ul>");
}

} // namespace

bool same_attachments(const message_snapshot& left, const message_snapshot& right)
{
    return std::equal(left.attachments.begin(), left.attachments.end(), right.attachments.begin(),
                      right.attachments.end(), [](const auto& entry, const auto& other) {
                          return entry.number == other.number && entry.hidden == other.hidden &&
                                 same_attachment(entry, other);
                      });
}

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
