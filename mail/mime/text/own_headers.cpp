#include "mail/mime/text/own_headers.h"

#include "mail/mime/text/property_text.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <charconv>
#include <utility>
#include <vector>

namespace host::own_headers {

namespace {

constexpr GUID verdict_set{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};
constexpr std::int32_t verdict_number = 1;
constexpr std::uint32_t first_named = 0x8000;
constexpr char separator = ';';
constexpr char missing_mark = '!'; ///< precedes the tag of a property that does not exist

template <typename Number>
bool parse_number(std::string_view text, Number& number, int base = 10)
{
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return problem == std::errc() && end == text.data() + text.size();
}

/// Returns "0037001F", or "SET/#NUMBER/TYPE" or "SET/NAME/TYPE" for a named property.
std::string tag_text(std::uint32_t tag, const name_table& names)
{
    const property_name* name = PROP_ID(tag) < first_named ? nullptr : names.name_of(PROP_ID(tag));
    if (!name) {
        return hex_text(tag, 8);
    }
    const auto* number = std::get_if<std::int32_t>(&name->name);
    const std::string word =
        number ? "#" + std::to_string(*number)
               : percent_encode(winapi::conv_to_char(std::get<std::wstring>(name->name), winapi::code_page_utf8));
    return guid_text(name->set) + "/" + word + "/" + hex_text(PROP_TYPE(tag), 4);
}

/// Returns the tag that a text denotes; 0 if it denotes none.
std::uint32_t tag_of(std::string_view text, name_table& names)
{
    std::uint32_t number = 0;
    const std::size_t first = text.find('/');
    if (first == std::string_view::npos) {
        return text.size() == 8 && parse_number(text, number, 16) && PROP_ID(number) < first_named ? number : 0;
    }
    const std::size_t last = text.rfind('/');
    property_name name;
    if (last == first || !parse_guid(text.substr(0, first), name.set) ||
        !parse_number(text.substr(last + 1), number, 16) || number > 0xFFFFU) {
        return 0;
    }
    const std::string_view word = text.substr(first + 1, last - first - 1);
    if (word.starts_with('#')) {
        std::int32_t id = 0;
        if (!parse_number(word.substr(1), id)) {
            return 0;
        }
        name.name = id;
    } else {
        name.name = winapi::conv_to_wide(percent_decode(word), winapi::code_page_utf8);
    }
    const std::uint32_t id = names.id_of(name, true);
    return id == 0 ? 0 : PROP_TAG(number, id);
}

void apply_entry(std::string_view entry, name_table& names, property_bag& target)
{
    if (entry.starts_with(missing_mark)) {
        if (const std::uint32_t tag = tag_of(entry.substr(1), names); tag != 0) {
            target.erase(PROP_ID(tag));
        }
        return;
    }
    const std::size_t equals = entry.find('=');
    const std::uint32_t tag = equals == std::string_view::npos ? 0 : tag_of(entry.substr(0, equals), names);
    property_value value;
    if (tag != 0 && parse_value(entry.substr(equals + 1), PROP_TYPE(tag), value)) {
        target.set(tag, std::move(value));
    }
}

} // namespace

bool is_own(std::string_view name)
{
    return name.size() >= name_prefix.size() &&
           winapi::compare_no_case(name.substr(0, name_prefix.size()), name_prefix) == 0;
}

std::optional<stored_verdict> find_verdict(const message_record& message)
{
    const std::uint32_t id = message.store->names.id_of({verdict_set, verdict_number}, false);
    const property_value* value = id == 0 ? nullptr : message.properties->find(id);
    if (!value || value->type != PT_LONG) {
        return std::nullopt;
    }
    return stored_verdict{id, value->number()};
}

void set_verdict(message_record& message, std::string_view text)
{
    std::int32_t number = 0;
    const bool is_number = parse_number(text, number);
    const std::uint32_t id = is_number ? message.store->names.id_of({verdict_set, verdict_number}, true) : 0;
    if (id != 0) {
        message.properties->set(PROP_TAG(PT_LONG, id), property_value::of_long(number));
    }
}

std::string differences(const named_properties& wanted, const named_properties& document, std::uint32_t left_out)
{
    const property_bag& properties = wanted.properties;
    const auto is_comparable = [&](std::uint32_t id) { return id < first_named || &wanted.names == &document.names; };
    std::vector<std::string> entries;
    for (const std::uint32_t tag : properties.tags()) {
        const std::uint32_t id = PROP_ID(tag);
        const property_value& value = *properties.find(id);
        const property_value* other = is_comparable(id) ? document.properties.find(id) : nullptr;
        if (id != left_out && (!other || other->code_page != value.code_page || !same_value(*other, value))) {
            entries.push_back(tag_text(tag, wanted.names) + "=" + value_text(value));
        }
    }
    for (const std::uint32_t tag : document.properties.tags()) {
        if (!is_comparable(PROP_ID(tag)) || !properties.find(PROP_ID(tag))) {
            entries.push_back(missing_mark + tag_text(tag, document.names));
        }
    }
    // Identifiers of named properties differ between stores. What does not exist precedes what replaces it.
    std::sort(entries.begin(), entries.end());
    std::string text;
    for (const std::string& entry : entries) {
        text.append(text.empty() ? 0 : 1, separator).append(entry);
    }
    return text;
}

void apply(std::string_view list, name_table& names, property_bag& properties)
{
    std::string compact(list);
    std::erase_if(compact, [](unsigned char c) { return c <= ' '; });
    std::string_view rest = compact;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(separator), rest.size());
        apply_entry(rest.substr(0, end), names, properties);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

std::optional<std::string_view> take_entry(std::string_view& list, std::string_view key)
{
    const std::string_view entry = list.substr(0, list.find(separator));
    if (!entry.starts_with(key) || entry.substr(key.size(), 1) != "=") {
        return std::nullopt;
    }
    list.remove_prefix(std::min(entry.size() + 1, list.size()));
    return entry.substr(key.size() + 1);
}

std::optional<std::uint32_t> take_number(std::string_view& list, std::string_view key)
{
    const auto text = take_entry(list, key);
    std::uint32_t number = 0;
    return text && parse_number(*text, number) ? std::optional(number) : std::nullopt;
}

} // namespace host::own_headers
