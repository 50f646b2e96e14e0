#include "service/page_references.h"

#include "service/page_tags.h"
#include "tool/system/ascii.h"

#include <algorithm>
#include <iterator>

namespace service {

namespace {

constexpr std::string_view quotes = "\"'";

constexpr std::string_view elements[] = {"<script", "<link", "<iframe", "<frame", "<object",  "<embed",
                                         "<applet", "<base", "<image",  "<use",   "<feimage", "@import"};
constexpr std::string_view attributes[] = {"src", "background", "poster", "data", "action", "formaction"};
constexpr std::string_view image_sets[] = {"image-set", "-webkit-image-set"};

bool continues_name(std::string_view text, std::size_t at)
{
    return at < text.size() &&
           ((text[at] >= 'a' && text[at] <= 'z') || (text[at] >= '0' && text[at] <= '9') || text[at] == '-');
}

bool is_outside(std::string_view value)
{
    return !value.starts_with("data:") && !value.starts_with('#');
}

/// Returns true if one of the images in the value of the attribute "srcset" is outside. A comma behind a blank, or
/// behind the name of an image, separates them; one within a name is part of it.
bool has_outside_image(std::string_view set)
{
    constexpr std::string_view separators = " \t\r\n\f,";
    do {
        set = winapi::trimmed_left(set, separators);
        const std::string_view image = set.substr(0, set.find_first_of(page_blanks));
        if (is_outside(image)) {
            return true;
        }
        set.remove_prefix(image.size());
        if (!image.ends_with(',')) {
            set.remove_prefix(std::min(set.find(','), set.size())); // the size of the image
        }
    } while (set.find_first_not_of(separators) != std::string_view::npos);
    return false;
}

/// Returns true if a text in quotes is outside, within the parentheses that `text` begins with and not within further
/// ones, such as those of url() and type().
bool has_outside_text(std::string_view text)
{
    int depth = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char byte = text[at];
        if (byte == '(') {
            ++depth;
        } else if (byte == ')') {
            --depth;
        } else if (quotes.find(byte) != std::string_view::npos) {
            const std::size_t end = std::min(text.find(byte, at + 1), text.size());
            if (depth == 1 && is_outside(winapi::trimmed(text.substr(at + 1, end - at - 1), page_blanks))) {
                return true;
            }
            at = end;
        }
        if (depth == 0) {
            break;
        }
    }
    return false;
}

bool is_handler(std::string_view name)
{
    return name.size() > 2 && name.starts_with("on") &&
           std::all_of(name.begin(), name.end(), [](char letter) { return letter >= 'a' && letter <= 'z'; });
}

/// Returns what an attribute would load or run; empty if nothing.
std::string_view reference_of(const tag_attribute& attribute)
{
    constexpr std::string_view script = "javascript:";
    const bool leads_outside =
        (attribute.name == "srcset" && has_outside_image(attribute.value)) ||
        (attribute.name == "http-equiv" && attribute.value.starts_with("refresh")) ||
        (std::find(std::begin(attributes), std::end(attributes), attribute.name) != std::end(attributes) &&
         is_outside(attribute.value));
    if (attribute.has_value && (leads_outside || is_handler(attribute.name))) {
        return attribute.name;
    }
    return attribute.value.starts_with(script) ? script : std::string_view();
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
    for (const std::string_view name : image_sets) {
        note(find_word(small, name, has_outside_text), "image-set()");
    }
    note(find_word(small, "url",
                   [](std::string_view behind) {
                       return behind.starts_with('(') &&
                              is_outside(winapi::trimmed_left(behind.substr(1), " \t\r\n\f\"'"));
                   }),
         "url()");
    for (std::size_t at = small.find('<'), length = 0; at != std::string::npos; at = small.find('<', at + length)) {
        const std::string_view rest = std::string_view(small).substr(at);
        length = begins_tag(rest) ? length_of_tag(rest) : 1;
        for (const tag_attribute& attribute : attributes_of(rest.substr(0, length))) {
            if (const std::string_view found = reference_of(attribute); !found.empty()) {
                note(static_cast<std::size_t>(attribute.name.data() - small.data()), found);
            }
        }
    }
    if (first == std::string_view::npos) {
        return std::nullopt;
    }
    const auto line =
        static_cast<std::size_t>(std::count(page.begin(), page.begin() + static_cast<std::ptrdiff_t>(first), '\n'));
    return page_reference{line + 1, std::string(what)};
}

} // namespace service
