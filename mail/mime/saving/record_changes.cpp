#include "mail/mime/saving/record_changes.h"

#include <algorithm>
#include <map>

namespace host {

namespace {

bool same_property(const property_bag& left, const property_bag& right, std::uint32_t tag)
{
    const property_value* one = left.find(PROP_ID(tag));
    const property_value* other = right.find(PROP_ID(tag));
    return one && other ? same_value(*one, *other) : one == other;
}

part_change change_of_body(const property_bag& now, const property_bag& before, std::uint32_t tag)
{
    if (same_property(now, before, tag)) {
        return part_change::none;
    }
    return now.find(PROP_ID(tag)) ? part_change::replaced : part_change::removed;
}

part_change change_of(const attachment_record& now, const attachment_record& before)
{
    for (const std::uint32_t tag : {std::uint32_t{PR_ATTACH_METHOD}, std::uint32_t{PR_ATTACH_LONG_FILENAME_W},
                                    std::uint32_t{PR_ATTACH_MIME_TAG_W}, std::uint32_t{PR_ATTACH_CONTENT_ID_W}}) {
        if (!same_property(*now.properties, *before.properties, tag)) {
            return part_change::replaced;
        }
    }
    if (now.embedded == before.embedded) {
        const bool same = now.embedded || same_property(*now.properties, *before.properties, PR_ATTACH_DATA_BIN);
        return same ? part_change::none : part_change::contents;
    }
    const mail_origin* inner = now.embedded ? origin_of(*now.embedded) : nullptr;
    if (!inner || !before.embedded || inner != origin_of(*before.embedded)) {
        return part_change::replaced;
    }
    return find_changes(*now.embedded, *inner).any() ? part_change::inside : part_change::none;
}

} // namespace

bool record_changes::any() const
{
    return subject || plain != part_change::none || html != part_change::none || !added.empty() ||
           std::any_of(attachments.begin(), attachments.end(),
                       [](const attachment_change& each) { return each.change != part_change::none; });
}

record_changes find_changes(const message_record& message, const mail_origin& origin)
{
    const property_bag& before = *origin.opened->properties;
    record_changes result;
    result.subject = !same_property(*message.properties, before, PR_SUBJECT_W);
    result.plain = change_of_body(*message.properties, before, PR_BODY_W);
    result.html = change_of_body(*message.properties, before, PR_HTML);
    std::map<const part_origin*, std::uint32_t> present;
    for (const auto& [number, attachment] : message.attachments) {
        const part_origin* part = origin_of(attachment);
        if (!part || !present.emplace(part, number).second) {
            result.added.push_back(number);
        }
    }
    std::map<const part_origin*, std::uint32_t> opened;
    for (const auto& [number, attachment] : origin.opened->attachments) {
        opened.emplace(origin_of(attachment), number);
    }
    for (const auto& [position, attachment] : origin.read->attachments) {
        const auto old = opened.find(origin_of(attachment));
        const auto now = present.find(origin_of(attachment));
        if (old == opened.end()) {
            result.attachments.push_back({part_change::none, {}, 0});
        } else if (now == present.end()) {
            result.attachments.push_back({part_change::removed, {}, old->second});
        } else {
            const part_change change =
                change_of(message.attachments.at(now->second), origin.opened->attachments.at(old->second));
            result.attachments.push_back({change, now->second, old->second});
            present.erase(now);
        }
    }
    for (const auto& [part, number] : present) { // they are parts of another document
        result.added.push_back(number);
    }
    std::sort(result.added.begin(), result.added.end());
    return result;
}

} // namespace host
