#include "mail/mime/text/own_block.h"

#include "mail/mime/text/mail_origin.h"
#include "mail/mime/text/own_headers.h"
#include "mail/mime/text/source_lines.h"
#include "store/joined_bytes.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace host {

namespace {

bool begins_fold(char c)
{
    return c == ' ' || c == '\t';
}

/// Returns the message that a path such as "0.2" leads to; null if it is no path.
specified_message* message_at(specified_message& outer, std::string_view path)
{
    specified_message* message = &outer;
    for (std::size_t depth = 0; !path.empty(); ++depth) {
        const std::string_view word = path.substr(0, path.find('.'));
        std::uint32_t number = 0;
        const auto [end, problem] = std::from_chars(word.data(), word.data() + word.size(), number);
        if (problem != std::errc() || end != word.data() + word.size() || depth >= deepest_embedded) {
            return nullptr;
        }
        message = &message->inside[number];
        path.remove_prefix(std::min(word.size() + 1, path.size()));
    }
    return message;
}

void add_header(std::string_view name, std::string value, specified_message& specified)
{
    std::erase_if(value, [](unsigned char c) { return c <= ' '; });
    std::string_view list = value;
    const auto path = own_headers::take_entry(list, "in");
    specified_message* message = message_at(specified, path.value_or(std::string_view()));
    if (!message) {
        return;
    }
    const auto is = [name](const char* other) { return winapi::compare_no_case(name, other) == 0; };
    if (is(own_headers::verdict_name)) {
        message->verdict = list;
    } else if (is(own_headers::properties_name)) {
        message->properties.emplace_back(list);
    } else if (is(own_headers::recipient_name)) {
        message->recipients.emplace_back(list);
    } else if (is(own_headers::attachment_name)) {
        if (const auto part = own_headers::take_number(list, "part")) {
            const auto number = own_headers::take_number(list, "number");
            message->attachments.emplace(*part, specified_attachment{number, std::string(list)});
        }
    }
}

/// Gives every attachment its number. One whose number is in use gets the next free one after all others.
void number_attachments(std::vector<std::pair<std::uint32_t, attachment_record>> list,
                        std::map<std::uint32_t, attachment_record>& found)
{
    std::vector<attachment_record> others;
    for (auto& [number, attachment] : list) {
        if (found.contains(number)) {
            others.push_back(std::move(attachment));
        } else {
            found.emplace(number, std::move(attachment));
        }
    }
    std::uint32_t number = found.empty() ? 0 : found.rbegin()->first + 1;
    for (attachment_record& attachment : others) {
        while (found.contains(number)) { // the largest number may be in use
            ++number;
        }
        found.emplace(number, std::move(attachment));
    }
}

void apply_attachments(const specified_message& specified, message_record& message)
{
    std::vector<std::pair<std::uint32_t, attachment_record>> list;
    for (auto& [part, attachment] : message.attachments) {
        const auto own = specified.attachments.find(part);
        if (own == specified.attachments.end()) {
            list.emplace_back(part, std::move(attachment));
        } else if (own->second.number) {
            own_headers::apply(own->second.list, message.store->names, *attachment.properties);
            list.emplace_back(*own->second.number, std::move(attachment));
        }
    }
    message.attachments.clear();
    number_attachments(std::move(list), message.attachments);
}

} // namespace

own_block split_own_block(const bytes_ptr& source)
{
    constexpr std::string_view envelope = "From ";
    own_block result{source, {}};
    specified_message specified;
    source_lines lines(*source);
    source_line line;
    bool has_line = lines.next(line);
    std::uint64_t begin = 0;
    if (has_line && line.text.starts_with(envelope)) {
        begin = line.end;
        has_line = lines.next(line);
    }
    std::string name;
    std::string value;
    while (has_line && line.text.size() < source_lines::longest_text) {
        if (!name.empty() && !line.text.empty() && begins_fold(line.text.front())) {
            value += line.text;
        } else {
            add_header(name, std::exchange(value, {}), specified);
            name = line.text.substr(0, std::min(line.text.find(':'), line.text.size()));
            if (name.size() == line.text.size() || !own_headers::is_own(name)) {
                break;
            }
            if (winapi::compare_no_case(name, own_headers::end_name) == 0) {
                bytes_joiner document;
                document.add(source, 0, begin);
                document.add(source, line.end, source->size() - line.end);
                return {document.finish(), std::move(specified)};
            }
            value = line.text.substr(name.size() + 1);
        }
        has_line = lines.next(line);
    }
    return result;
}

void apply(const specified_message& specified, message_record& message)
{
    name_table& names = message.store->names;
    for (const auto& [part, inner] : specified.inside) {
        const auto found = message.attachments.find(part);
        if (found != message.attachments.end() && found->second.embedded) {
            auto changed = std::make_shared<message_record>(found->second.embedded->copy());
            apply(inner, *changed);
            found->second.embedded = std::move(changed);
        }
    }
    for (const std::string& list : specified.properties) {
        own_headers::apply(list, names, *message.properties);
    }
    own_headers::set_verdict(message, specified.verdict);
    if (!specified.recipients.empty()) {
        message.recipients.clear();
    }
    for (const std::string& list : specified.recipients) {
        if (list != own_headers::no_recipients) {
            auto recipient = std::make_shared<property_bag>();
            own_headers::apply(list, names, *recipient);
            message.recipients.push_back(std::move(recipient));
        }
    }
    apply_attachments(specified, message);
    if (const mail_origin* origin = origin_of(message)) {
        auto changed = std::make_shared<mail_origin>();
        changed->source = origin->source;
        changed->read = origin->read;
        changed->opened = state_of(message);
        changed->plain = origin->plain;
        changed->html = origin->html;
        message.properties->origin(std::move(changed));
    }
}

} // namespace host
