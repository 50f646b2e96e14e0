#include "service/page_tags.h"

#include "tool/system/ascii.h"

#include <algorithm>

namespace service {

namespace {

constexpr std::string_view behind_names = " \t\r\n\f/>=";
constexpr std::string_view between_attributes = " \t\r\n\f/>";

bool is_tag_letter(char byte)
{
    const char small = winapi::ascii_lower(byte);
    return small >= 'a' && small <= 'z';
}

std::string_view take(std::string_view& text, std::size_t count)
{
    const std::string_view taken = text.substr(0, count);
    text.remove_prefix(taken.size());
    return taken;
}

/// Takes a value behind its "=" off `text`.
std::string_view take_value(std::string_view& text)
{
    text = winapi::trimmed_left(text, page_blanks);
    if (!text.starts_with('"') && !text.starts_with('\'')) {
        return take(text, text.find_first_of(" \t\r\n\f>"));
    }
    const char quote = text.front();
    text.remove_prefix(1);
    const std::string_view value = take(text, text.find(quote));
    text.remove_prefix(std::min<std::size_t>(1, text.size()));
    return winapi::trimmed(value, page_blanks);
}

} // namespace

bool begins_tag(std::string_view text)
{
    constexpr std::string_view further = "/!?{";
    return text.size() > 1 && text.front() == '<' &&
           (is_tag_letter(text[1]) || further.find(text[1]) != std::string_view::npos);
}

std::size_t length_of_tag(std::string_view text)
{
    char quote = 0;
    for (std::size_t i = 1; i < text.size(); ++i) {
        const char byte = text[i];
        if (quote != 0) {
            quote = byte == quote ? '\0' : quote;
        } else if (byte == '"' || byte == '\'') {
            quote = byte;
        } else if (byte == '>') {
            return i + 1;
        }
    }
    return text.size();
}

std::vector<tag_attribute> attributes_of(std::string_view tag)
{
    std::vector<tag_attribute> found;
    (void)take(tag, tag.find_first_of(between_attributes, 1)); // "<" and the name of the element
    for (;;) {
        tag = winapi::trimmed_left(tag, between_attributes);
        if (tag.empty()) {
            return found;
        }
        tag_attribute next;
        next.name = take(tag, tag.find_first_of(behind_names, 1));
        if (const std::size_t placeholder = next.name.rfind("}}"); placeholder != std::string_view::npos) {
            next.name.remove_prefix(placeholder + 2);
        }
        std::string_view behind = winapi::trimmed_left(tag, page_blanks);
        next.has_value = behind.starts_with('=');
        if (next.has_value) {
            behind.remove_prefix(1);
            next.value = take_value(behind);
            tag = behind;
        }
        found.push_back(next);
    }
}

} // namespace service
