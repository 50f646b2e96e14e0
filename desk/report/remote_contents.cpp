#include "desk/report/remote_contents.h"

#include "desk/report/page_text.h"
#include "service/page_tags.h"
#include "tool/system/ascii.h"

#include <algorithm>
#include <array>

namespace host {

namespace {

constexpr std::string_view blanks = service::page_blanks;

void add_words(std::string& line, std::size_t count, std::string_view one, std::string_view several)
{
    if (count != 0) {
        line.append(line.empty() ? "" : ", ").append(count_text(count, one, several));
    }
}

/// Returns an address in a style sheet or in the attribute "style" without what is ahead of it.
std::string_view without_quote(std::string_view text)
{
    text = winapi::trimmed_left(text, " \t\r\n\f\"'");
    for (const std::string_view quote : {"&quot;", "&#39;", "&apos;", "&#34;"}) {
        if (text.starts_with(quote)) {
            text.remove_prefix(quote.size());
        }
    }
    return text;
}

/// Returns true for an address on another computer: with a scheme of the web, or with the one of the page.
bool is_remote(std::string_view address)
{
    address = winapi::trimmed_left(address, blanks);
    constexpr std::array<std::string_view, 6> beginnings{"http:", "https:", "ftp:", "//", "\\\\", "/\\"};
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [address](std::string_view beginning) { return address.starts_with(beginning); });
}

std::string_view element_of(std::string_view tag)
{
    tag.remove_prefix(1);
    return tag.substr(0, tag.find_first_of(" \t\r\n\f/>"));
}

/// Counts the addresses in the attribute "srcset".
std::size_t remote_images_of_set(std::string_view set)
{
    std::size_t count = 0;
    while (!(set = winapi::trimmed_left(set, " \t\r\n\f,")).empty()) {
        const std::string_view image = set.substr(0, set.find_first_of(blanks));
        count += is_remote(image) ? 1 : 0;
        set.remove_prefix(image.size());
        if (!image.ends_with(',')) {
            set.remove_prefix(std::min(set.find(','), set.size()));
        }
    }
    return count;
}

std::string_view value_of(const std::vector<service::tag_attribute>& attributes, std::string_view name)
{
    const auto found =
        std::find_if(attributes.begin(), attributes.end(), [name](const auto& entry) { return entry.name == name; });
    return found == attributes.end() ? std::string_view() : found->value;
}

/// Counts what the attributes of one tag request.
remote_contents of_tag(std::string_view tag)
{
    remote_contents found;
    const std::string_view element = element_of(tag);
    const auto attributes = service::attributes_of(tag);
    const bool styles = value_of(attributes, "rel").find("stylesheet") != std::string_view::npos;
    if (element == "a" || element == "area" || element == "base" || element == "form") {
        return found;
    }
    for (const auto& [name, value, has_value] : attributes) {
        const bool remote = has_value && is_remote(value);
        if (name == "srcset") {
            found.images += remote_images_of_set(value);
        } else if (remote && element == "link" && name == "href") {
            ++(styles ? found.styles : found.others);
        } else if (remote && (name == "background" || name == "poster" || name == "href" || name == "xlink:href")) {
            ++found.images; // the last two: of drawings
        } else if (remote && (name == "src" || name == "data")) {
            const bool image = element == "img" || element == "image" || element == "input";
            ++(image ? found.images : found.others);
        }
    }
    return found;
}

/// Returns true if the text ahead of "url(" is that of a font: the property "src" of a style sheet.
bool is_font(std::string_view ahead)
{
    const std::size_t begin = ahead.find_last_of(";{");
    const std::string_view declaration =
        winapi::trimmed_left(begin == std::string_view::npos ? ahead : ahead.substr(begin + 1), blanks);
    return declaration.starts_with("src:") || declaration.starts_with("src ");
}

/// Counts url() and @import in a style sheet, or in the attributes of a tag.
remote_contents of_styles(std::string_view page)
{
    constexpr std::string_view rule = "@import";
    constexpr std::size_t longest_declaration = 4096;
    remote_contents found;
    for (std::size_t at = page.find("url("); at != std::string_view::npos; at = page.find("url(", at + 4)) {
        if (!is_remote(without_quote(page.substr(at + 4)))) {
            continue;
        }
        const std::size_t nearby = std::min(at, longest_declaration);
        const std::string_view ahead = winapi::trimmed(page.substr(at - nearby, nearby), blanks);
        if (ahead.ends_with(rule)) {
            ++found.styles;
        } else {
            ++(is_font(ahead) ? found.fonts : found.images);
        }
    }
    for (std::size_t at = page.find(rule); at != std::string_view::npos; at = page.find(rule, at + rule.size())) {
        found.styles += is_remote(without_quote(page.substr(at + rule.size()))) ? 1 : 0;
    }
    return found;
}

/// Returns the length of a comment, which may lack an end.
std::size_t length_of_comment(std::string_view text)
{
    constexpr std::string_view end = "-->";
    const std::size_t found = text.find(end, 2); // also that of "<!-->"
    return found == std::string_view::npos ? text.size() : found + end.size();
}

/// Returns the contents of an element in which tags have no meaning; empty for other elements.
std::string_view plain_contents(std::string_view element, std::string_view behind)
{
    constexpr std::array<std::string_view, 5> plain{"style", "script", "title", "textarea", "xmp"};
    if (std::find(plain.begin(), plain.end(), element) == plain.end()) {
        return {};
    }
    return behind.substr(0, behind.find("</" + std::string(element)));
}

} // namespace

std::string remote_contents::words() const
{
    std::string line;
    add_words(line, images, "image", "images");
    add_words(line, styles, "style sheet", "style sheets");
    add_words(line, fonts, "font", "fonts");
    add_words(line, others, "other content", "other contents");
    return line;
}

remote_contents& remote_contents::operator+=(const remote_contents& other) noexcept
{
    images += other.images;
    styles += other.styles;
    fonts += other.fonts;
    others += other.others;
    return *this;
}

remote_contents remote_contents_of(std::string_view page)
{
    std::string small(page);
    std::transform(small.begin(), small.end(), small.begin(), winapi::ascii_lower);
    remote_contents found;
    for (std::size_t at = small.find('<'), length = 0; at != std::string::npos; at = small.find('<', at + length)) {
        const std::string_view rest = std::string_view(small).substr(at);
        length = 1;
        if (rest.starts_with("<!--")) {
            length = length_of_comment(rest);
        } else if (service::begins_tag(rest)) {
            length = service::length_of_tag(rest);
            const std::string_view tag = rest.substr(0, length);
            const std::string_view plain = plain_contents(element_of(tag), rest.substr(length));
            found += of_tag(tag);
            found += of_styles(tag);
            found += element_of(tag) == "style" ? of_styles(plain) : remote_contents();
            length += plain.size();
        }
    }
    return found;
}

} // namespace host
