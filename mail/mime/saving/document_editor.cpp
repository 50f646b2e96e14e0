#include "mail/mime/saving/document_editor.h"

#include "mail/mime/saving/new_parts.h"
#include "mail/mime/saving/record_changes.h"
#include "mail/mime/text/header_text.h"
#include "mail/mime/tree/draft.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

namespace {

/// The reader counts the line end ahead of a delimiter line without a line end as contents.
bool is_at(const part_origin& part, const part_place& whole, std::uint64_t base)
{
    constexpr std::uint64_t line_end = 2;
    const part_place* place = part_at(whole, part.path);
    if (!place || !part.range) {
        return place != nullptr;
    }
    const auto [begin, end] = *part.range;
    return begin == place->body + base && end >= place->end + base && end <= place->end + base + line_end;
}

/// Returns true if the document has the parts that were read from it, where they were read.
bool has_parts_of(const mail_origin& origin, const part_place& whole, std::uint64_t base)
{
    const auto good = [&](const part_origin* part) { return !part || is_at(*part, whole, base); };
    return good(origin.plain.get()) && good(origin.html.get()) &&
           std::all_of(origin.read->attachments.begin(), origin.read->attachments.end(),
                       [&](const auto& entry) { return good(origin_of(entry.second)); });
}

/// Returns the order of the attachments of a message whose document has not changed.
document_order order_of(const message_record& message, const record_changes& changes)
{
    document_order result;
    for (const attachment_change& each : changes.attachments) {
        const auto at = static_cast<std::uint32_t>(result.numbers.size());
        result.numbers.push_back(each.number);
        const auto inner = each.number ? message.attachments.at(*each.number).embedded : nullptr;
        if (const mail_origin* origin = inner ? origin_of(*inner) : nullptr) {
            result.inside.emplace(at, order_of(*inner, find_changes(*inner, *origin)));
        }
    }
    return result;
}

/// The edits to one document.
class editor
{
public:
    editor(const message_record& message, const mail_origin& origin, const record_changes& changes,
           const bytes_ptr& source, const part_place& whole, std::uint64_t base)
        : message_(message)
        , origin_(origin)
        , changes_(changes)
        , source_(source)
        , base_(base)
        , draft_(source, whole)
        , added_(changes.added)
    {}

    std::optional<saved_text> edit()
    {
        if (changes_.subject) {
            edit_subject();
        }
        if (!edit_attachments()) {
            return std::nullopt;
        }
        edit_bodies();
        for (const std::uint32_t number : added_) {
            draft_.put_last(new_attachment(number));
        }
        saved_text result;
        result.text = draft_.finish();
        for (const std::uint32_t number : draft_.attachments()) {
            const auto at = static_cast<std::uint32_t>(result.order.numbers.size());
            result.order.numbers.emplace_back(number);
            if (const auto found = inside_.find(number); found != inside_.end()) {
                result.order.inside.emplace(at, std::move(found->second));
            }
        }
        return result;
    }

private:
    void edit_subject()
    {
        const property_value* subject = message_.properties->find(PROP_ID(PR_SUBJECT_W));
        const std::string text =
            subject ? winapi::conv_to_char(subject->wide(), winapi::code_page_utf8) : std::string();
        draft_.set_header("Subject",
                          text.empty() ? "" : with_line_end("Subject:" + header_words(text), draft_.line_end()));
    }

    draft_ptr new_attachment(std::uint32_t number)
    {
        return attachment_part(message_, number, draft_.line_end(), inside_[number]);
    }

    /// Returns false if a part is not there, or is no attachment of the message.
    bool edit_attachments()
    {
        auto change = changes_.attachments.begin();
        for (const auto& [position, attachment] : origin_.read->attachments) {
            draft_part* part = draft_.find(origin_of(attachment)->path);
            if (!part || !edit_attachment(*change++, attachment, *part)) {
                return false;
            }
        }
        return true;
    }

    bool edit_attachment(const attachment_change& change, const attachment_record& before, draft_part& part)
    {
        part.attachment = change.number;
        if (!change.number) {
            if (change.change == part_change::removed) {
                remove_attachment(before, change.former, part);
            }
            return change.change == part_change::removed;
        }
        switch (change.change) {
        case part_change::inside:
            edit_inside(*change.number, part);
            break;
        case part_change::contents:
            replace_contents(*change.number, part);
            break;
        case part_change::replaced:
            draft_.replace(part, new_attachment(*change.number));
            break;
        case part_change::none:
        case part_change::removed:
            note_order(*change.number);
            break;
        }
        return true;
    }

    void note_order(std::uint32_t number)
    {
        const auto& inner = message_.attachments.at(number).embedded;
        if (const mail_origin* origin = inner ? origin_of(*inner) : nullptr) {
            inside_.emplace(number, order_of(*inner, find_changes(*inner, *origin)));
        }
    }

    void edit_inside(std::uint32_t number, draft_part& part)
    {
        const message_record& inner = *message_.attachments.at(number).embedded;
        const part_place& place = *part.place;
        auto edited = edit_document(inner, *origin_of(inner), window_of(source_, place.body, place.end - place.body),
                                    base_ + place.body);
        if (edited) {
            part.content = edited->text;
            inside_[number] = std::move(edited->order);
        } else {
            draft_.replace(part, new_attachment(number));
        }
    }

    /// The notice that replaces an attachment has its name, or its number, with an extension. It takes its place.
    void remove_attachment(const attachment_record& before, std::uint32_t former, draft_part& part)
    {
        std::string name = name_of(before);
        name = (name.empty() ? std::to_string(former) : name) + ".";
        const auto notice = std::find_if(added_.begin(), added_.end(), [&](std::uint32_t number) {
            const std::string other = name_of(message_.attachments.at(number));
            return other.size() > name.size() && other.starts_with(name);
        });
        part.attachment.reset();
        if (notice == added_.end()) {
            draft_.remove(part);
        } else {
            draft_.replace(part, new_attachment(*notice));
            added_.erase(notice);
        }
    }

    /// The headers of the part remain, unless they specify a structure that base64 hides.
    void replace_contents(std::uint32_t number, draft_part& part)
    {
        draft_ptr fresh = new_attachment(number);
        const std::string_view type = part.place->type;
        if (&part == &draft_.root() || type.starts_with("multipart/") || type.starts_with("message/")) {
            draft_.replace(part, std::move(fresh));
            return;
        }
        part.headers = "Content-Transfer-Encoding: base64" + draft_.line_end();
        part.content = fresh->content;
    }

    void edit_bodies()
    {
        const bool plain_goes = changes_.plain == part_change::removed;
        const bool html_goes = changes_.html == part_change::removed;
        draft_part* plain = origin_.plain ? draft_.find(origin_.plain->path) : nullptr;
        draft_part* html = origin_.html ? draft_.find(origin_.html->path) : nullptr;
        if (changes_.html == part_change::replaced) {
            draft_part* const old = html ? html : plain_goes ? std::exchange(plain, nullptr) : nullptr;
            html = &put_html(old, plain);
        }
        if (changes_.plain == part_change::replaced) {
            draft_part* const old = plain ? plain : html_goes ? std::exchange(html, nullptr) : nullptr;
            put_plain(old, html);
        }
        if (plain && plain_goes) {
            draft_.remove(*plain);
        }
        if (html && html_goes) {
            draft_.remove(*html);
        }
    }

    /// Puts the HTML in the place of `old`, else beside the text `other`, else at the beginning. Returns its part.
    draft_part& put_html(draft_part* old, draft_part* other)
    {
        draft_ptr part = html_part(message_, draft_.line_end());
        draft_part& html = *part;
        if (old) {
            draft_.replace(*old, std::move(part));
        } else if (other) {
            draft_.wrap(*other, "alternative").parts.push_back(std::move(part));
        } else {
            draft_.put_first(std::move(part));
        }
        put_images(html);
        return html;
    }

    /// The added images that the HTML displays are put beside it.
    void put_images(draft_part& html)
    {
        std::vector<draft_ptr> images;
        std::erase_if(added_, [&](std::uint32_t number) {
            const attachment_record& attachment = message_.attachments.at(number);
            const property_value* hidden = attachment.properties->find(PROP_ID(PR_ATTACHMENT_HIDDEN));
            const bool shown = hidden && hidden->number() != 0 && !attachment.embedded;
            if (shown) {
                images.push_back(new_attachment(number));
            }
            return shown;
        });
        if (!images.empty()) {
            draft_part& related = draft_.wrap(html, "related", " type=\"text/html\";");
            std::move(images.begin(), images.end(), std::back_inserter(related.parts));
        }
    }

    void put_plain(draft_part* old, draft_part* other)
    {
        draft_ptr part = plain_part(message_, draft_.line_end());
        if (old) {
            draft_.replace(*old, std::move(part));
        } else if (other) {
            auto& parts = draft_.wrap(*other, "alternative").parts;
            parts.insert(parts.begin(), std::move(part));
        } else {
            draft_.put_first(std::move(part));
        }
    }

    const message_record& message_;
    const mail_origin& origin_;
    const record_changes& changes_;
    const bytes_ptr& source_;
    std::uint64_t base_;
    draft draft_;
    std::vector<std::uint32_t> added_;               ///< attachments that have no place yet
    std::map<std::uint32_t, document_order> inside_; ///< of attached messages, by number
};

} // namespace

std::optional<saved_text> edit_document(const message_record& message, const mail_origin& origin,
                                        const bytes_ptr& source, std::uint64_t base)
{
    const record_changes changes = find_changes(message, origin);
    if (!changes.any()) {
        return saved_text{source, order_of(message, changes), true};
    }
    const part_place whole = find_parts(*source);
    if (!has_parts_of(origin, whole, base)) {
        return std::nullopt;
    }
    return editor(message, origin, changes, source, whole, base).edit();
}

} // namespace host
