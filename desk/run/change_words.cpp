#include "desk/run/snapshot.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <string_view>

namespace host {

namespace {

using attachment_list = std::vector<const attachment_snapshot*>;

/// Collects the parts of one sentence.
class sentence
{
public:
    void say(std::string_view part) { text_.append(text_.empty() ? "" : ", ").append(part); }
    /// Appends a part with a number before it: `one` or `several` according to the number.
    void count(std::size_t number, std::string_view one, std::string_view several)
    {
        if (number != 0) {
            say(std::to_string(number).append(1, ' ').append(number == 1 ? one : several));
        }
    }
    [[nodiscard]] std::string text() const { return text_; }

private:
    std::string text_;
};

/// Returns the attachments of a message that the other one does not have.
attachment_list missing_in(const message_snapshot& other, const message_snapshot& message)
{
    attachment_list result;
    for (const auto& entry : message.attachments) {
        if (!attachment_with(other, entry.number)) {
            result.push_back(&entry);
        }
    }
    return result;
}

/// Removes the entries that match the rule from the list. Returns their number.
template <typename Rule>
std::size_t take(attachment_list& list, Rule&& rule)
{
    const auto rest = std::stable_partition(list.begin(), list.end(), [&](const auto* entry) { return !rule(*entry); });
    const auto count = static_cast<std::size_t>(list.end() - rest);
    list.erase(rest, list.end());
    return count;
}

/// Counts the attachments that were replaced by a notice, and removes both from the lists. The name of a notice is the
/// name of the attachment, or its number, with ".htm" appended.
std::size_t take_notices(attachment_list& removed, attachment_list& added)
{
    return take(removed, [&added](const attachment_snapshot& gone) {
        const std::string name = (gone.name.empty() ? std::to_string(gone.number) : gone.name) + ".htm";
        const auto notice = std::find_if(added.begin(), added.end(), [&name](const auto* entry) {
            return entry->name == name && entry->mime_tag == "text/html";
        });
        if (notice == added.end()) {
            return false;
        }
        added.erase(notice);
        return true;
    });
}

bool is_old_text(const attachment_snapshot& entry)
{
    return entry.name == "original_body.txt" && entry.mime_tag == "text/plain";
}

bool is_hidden_image(const attachment_snapshot& entry)
{
    return entry.hidden && !entry.content_id.empty();
}

/// The page that replaces a condemned body is stored with a terminating null character.
bool is_page(const bytes_ptr& html)
{
    char last = 'x';
    return html && html->size() != 0 && html->read(html->size() - 1, &last, 1) == 1 && last == '\0';
}

void tell_body(const message_snapshot& before, const message_snapshot& after, sentence& words)
{
    if (same_body(before, after)) {
        return;
    }
    words.say(is_page(after.html) && !same_bytes(before.html, after.html) ? "body replaced" : "body changed");
}

void tell_class(const message_snapshot& before, const message_snapshot& after, sentence& words)
{
    constexpr std::string_view secured = "IPM.Note.SMIME";
    if (before.message_class == after.message_class) {
        return;
    }
    const bool was_secured = winapi::compare_no_case(before.message_class.substr(0, secured.size()), secured) == 0;
    words.say(was_secured && after.message_class == "IPM.Note" ? "no longer encrypted" : "class changed");
}

} // namespace

std::string describe_changes(const message_snapshot& before, const message_snapshot& after)
{
    attachment_list removed = missing_in(after, before);
    attachment_list added = missing_in(before, after);
    const std::size_t replaced = take_notices(removed, added);
    const std::size_t old_texts = take(added, is_old_text);
    const std::size_t images = take(added, is_hidden_image);
    const auto changed =
        std::count_if(before.attachments.begin(), before.attachments.end(), [&after](const auto& entry) {
            const attachment_snapshot* now = attachment_with(after, entry.number);
            return now && !same_attachment(entry, *now);
        });

    sentence words;
    words.count(replaced, "attachment replaced by a notice", "attachments replaced by notices");
    words.count(removed.size(), "attachment removed", "attachments removed");
    words.count(static_cast<std::size_t>(changed), "attachment changed", "attachments changed");
    tell_body(before, after, words);
    words.count(images, "image hidden as an attachment", "images hidden as attachments");
    if (old_texts != 0) {
        words.say("old text kept");
    }
    words.count(added.size(), "attachment added", "attachments added");
    if (before.subject != after.subject) {
        words.say("subject replaced");
    }
    tell_class(before, after, words);
    return words.text();
}

} // namespace host
