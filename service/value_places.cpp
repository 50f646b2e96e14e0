#include "service/value_places.h"

#include "service/page_tags.h"
#include "tool/system/ascii.h"

#include <algorithm>

namespace service {

namespace {

constexpr std::string_view values[] = {"{{name}}", "{{threat}}"};

/// Returns true if `text` begins with `word`, in any case of letters.
bool begins_with(std::string_view text, std::string_view word)
{
    return winapi::same_no_case(text.substr(0, word.size()), word);
}

/// Returns the length of the text ahead of `end`, in any case of letters.
std::size_t length_up_to(std::string_view text, std::string_view end)
{
    std::size_t length = 0;
    while (length < text.size() && !begins_with(text.substr(length), end)) {
        ++length;
    }
    return length;
}

/// Returns the length of the markup that `text` begins with; 0 if it begins with text of the page.
std::size_t length_of_markup(std::string_view text)
{
    constexpr std::string_view comment = "<!--";
    if (text.starts_with(comment)) {
        return comment.size() + length_up_to(text.substr(comment.size()), "-->");
    }
    if (!begins_tag(text)) {
        return 0;
    }
    const std::size_t tag = length_of_tag(text);
    return begins_with(text, "<style") ? tag + length_up_to(text.substr(tag), "</style") : tag;
}

} // namespace

std::optional<placed_value> value_in_markup(std::string_view page)
{
    for (std::size_t at = 0; at < page.size();) {
        const std::size_t length = length_of_markup(page.substr(at));
        const std::string_view markup = page.substr(at, length);
        std::size_t first = markup.size();
        std::string_view found;
        for (const std::string_view value : values) {
            if (const std::size_t place = markup.find(value); place < first) {
                first = place;
                found = value;
            }
        }
        if (!found.empty()) {
            const auto end = page.begin() + static_cast<std::ptrdiff_t>(at + first);
            return placed_value{static_cast<std::size_t>(std::count(page.begin(), end, '\n')) + 1, std::string(found)};
        }
        at += std::max<std::size_t>(length, 1);
    }
    return std::nullopt;
}

} // namespace service
