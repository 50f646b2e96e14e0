#include "service/page_references.h"

#include "tool/system/ascii.h"

#include <algorithm>

namespace service {

namespace {

constexpr std::string_view blanks = " \t\r\n\f";
constexpr std::string_view quotes = "\"'";

constexpr std::string_view elements[] = {"<script", "<link", "<iframe", "<frame", "<object", "<embed",
                                         "<applet", "<base", "<image",  "<use",   "@import"};
constexpr std::string_view attributes[] = {"src", "srcset", "background", "poster", "data", "action", "formaction"};

bool continues_name(std::string_view text, std::size_t at)
{
    return at < text.size() &&
           ((text[at] >= 'a' && text[at] <= 'z') || (text[at] >= '0' && text[at] <= '9') || text[at] == '-');
}

std::string_view without_blanks(std::string_view text, std::string_view also = {})
{
    const auto skipped = [also](char character) {
        return blanks.find(character) != std::string_view::npos || also.find(character) != std::string_view::npos;
    };
    return {std::find_if_not(text.begin(), text.end(), skipped), text.end()};
}

/// Returns the value of an attribute whose name ends at the beginning of `text`; nullopt if it is no attribute.
std::optional<std::string_view> value_behind(std::string_view text)
{
    text = without_blanks(text);
    if (!text.starts_with('=')) {
        return std::nullopt;
    }
    return without_blanks(text.substr(1), quotes);
}

bool is_outside(std::string_view value)
{
    return !value.starts_with("data:") && !value.starts_with('#');
}

/// Finds `name` where it is a whole word and `condemned` is true for the text behind it.
template <typename Condition>
std::size_t find_word(std::string_view page, std::string_view name, Condition condemned)
{
    for (std::size_t at = page.find(name); at != std::string_view::npos; at = page.find(name, at + 1)) {
        const bool begins = continues_name(name, 0) ? at == 0 || !continues_name(page, at - 1) : true;
        const std::size_t end = at + name.size();
        if (begins && !continues_name(page, end) && condemned(page.substr(end))) {
            return at;
        }
    }
    return std::string_view::npos;
}

} // namespace

std::optional<page_reference> outside_reference(std::string_view page)
{
    std::string small(page);
    std::transform(small.begin(), small.end(), small.begin(), winapi::ascii_lower);
    std::size_t first = std::string_view::npos;
    std::string_view what;
    const auto note = [&](std::size_t at, std::string_view name) {
        if (at < first) {
            first = at;
            what = name;
        }
    };
    for (const std::string_view name : elements) {
        note(find_word(small, name, [](std::string_view) { return true; }), name);
    }
    for (const std::string_view name : attributes) {
        note(find_word(small, name,
                       [](std::string_view behind) {
                           const auto value = value_behind(behind);
                           return value && is_outside(*value);
                       }),
             name);
    }
    note(find_word(small, "http-equiv",
                   [](std::string_view behind) { return value_behind(behind).value_or("").starts_with("refresh"); }),
         "http-equiv");
    note(find_word(small, "url",
                   [](std::string_view behind) {
                       return behind.starts_with('(') && is_outside(without_blanks(behind.substr(1), quotes));
                   }),
         "url()");
    if (first == std::string_view::npos) {
        return std::nullopt;
    }
    const auto line =
        static_cast<std::size_t>(std::count(page.begin(), page.begin() + static_cast<std::ptrdiff_t>(first), '\n'));
    return page_reference{line + 1, std::string(what)};
}

} // namespace service
