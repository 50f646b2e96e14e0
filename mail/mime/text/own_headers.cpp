#include "mail/mime/text/own_headers.h"

#include "mail/mime/text/property_text.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace host::own_headers {

namespace {

constexpr GUID verdict_set{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};
constexpr std::int32_t verdict_number = 1;
constexpr std::uint32_t first_named = 0x8000;
constexpr std::string_view number_key = "number=";
constexpr char separator = ';';
constexpr char in_document = '@'; ///< replaces a value that the document contains

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

void restore(std::string_view pair, name_table& names, const property_bag& document, property_bag& target)
{
    const std::size_t equals = pair.find('=');
    if (equals == std::string_view::npos) {
        return;
    }
    const std::uint32_t tag = tag_of(pair.substr(0, equals), names);
    const std::string_view text = pair.substr(equals + 1);
    if (tag == 0) {
        return;
    }
    if (text.size() == 1 && text.front() == in_document) {
        if (const property_value* held = document.find(PROP_ID(tag)); held && held->type == PROP_TYPE(tag)) {
            target.set(tag, *held);
        }
        return;
    }
    property_value value;
    if (parse_value(text, PROP_TYPE(tag), value)) {
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
    const bool told = parse_number(text, number);
    const std::uint32_t id = told ? message.store->names.id_of({verdict_set, verdict_number}, true) : 0;
    if (id != 0) {
        message.properties->set(PROP_TAG(PT_LONG, id), property_value::of_long(number));
    }
}

std::string to_text(const property_bag& properties, const name_table& names, const listing_rules& rules)
{
    std::string text;
    for (const std::uint32_t tag : properties.tags()) {
        const std::uint32_t id = PROP_ID(tag);
        if (id == rules.left_out) {
            continue;
        }
        const bool held = PROP_TYPE(tag) != PT_STRING8 &&
                          std::find(rules.in_document.begin(), rules.in_document.end(), id) != rules.in_document.end();
        if (!text.empty()) {
            text += separator;
        }
        text += tag_text(tag, names) + "=" + (held ? std::string(1, in_document) : value_text(*properties.find(id)));
    }
    return text;
}

std::string numbered(std::uint32_t number, const std::string& list)
{
    return number_key.data() + std::to_string(number) + separator + list;
}

std::optional<std::uint32_t> take_number(std::string_view& text)
{
    const std::size_t end = std::min(text.find(separator), text.size());
    std::uint32_t number = 0;
    if (!text.starts_with(number_key) ||
        !parse_number(text.substr(number_key.size(), end - number_key.size()), number)) {
        return std::nullopt;
    }
    text.remove_prefix(std::min(end + 1, text.size()));
    return number;
}

std::shared_ptr<property_bag> from_text(std::string_view text, name_table& names, const property_bag& document)
{
    std::string compact(text);
    compact.erase(std::remove_if(compact.begin(), compact.end(), [](unsigned char c) { return c <= ' '; }),
                  compact.end());
    auto result = std::make_shared<property_bag>();
    std::string_view rest = compact;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(separator), rest.size());
        restore(rest.substr(0, end), names, document, *result);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return result;
}

} // namespace host::own_headers
