#include "mail/msg/object_parser.h"

#include "mail/msg/html_text.h"
#include "store/tags.h"
#include "store/unreadable_message.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace host::msg {

namespace {

constexpr std::uint32_t utf16_page = 1200;
constexpr std::uint32_t html_id = PROP_ID(PR_HTML);

bool is_message(object_kind kind)
{
    return kind == object_kind::message || kind == object_kind::embedded;
}

/// Reads the streams of a list, one element for each length.
void take_elements(storage_contents& storage, stored_property& property)
{
    const std::uint32_t tag = property.tag();
    const std::uint32_t type = PROP_TYPE(tag);
    const std::size_t told_in = type == (PT_BINARY | MV_FLAG) ? 8 : 4;
    const std::string lengths = to_string(*property.streams.front().contents);
    if (lengths.size() % told_in != 0) {
        refuse_property(tag, "has another size than its kind");
    }
    for (std::size_t i = 0; i < lengths.size(); i += told_in) {
        const auto* element = storage.take_stream(element_name(tag, static_cast<std::uint32_t>(i / told_in)));
        if (!element) {
            refuse_property(tag, "lacks a part of its value");
        }
        property.streams.push_back(*element);
    }
}

/// Reads the existing elements of a list of an unknown type.
void take_unknown_elements(storage_contents& storage, stored_property& property)
{
    for (std::uint32_t i = 0;; ++i) {
        const auto* element = storage.take_stream(element_name(property.tag(), i));
        if (!element) {
            return;
        }
        property.streams.push_back(*element);
    }
}

/// Returns true for an empty value, which may have no stream.
bool tells_nothing(const stored_property& property)
{
    const std::uint32_t type = PROP_TYPE(property.tag());
    const std::uint32_t end = type == PT_UNICODE ? 2 : type == PT_STRING8 ? 1 : 0;
    return type != PT_CLSID && u32_at(property.entry, entry_size) <= end;
}

constexpr const char* no_value = "lacks its value";

/// Returns nothing for a text whose stream is missing.
std::optional<stored_property> take_property(storage_contents& storage, const property_entry& entry)
{
    stored_property property{entry, {}, {}};
    const std::uint32_t tag = property.tag();
    const value_form form = form_of(PROP_TYPE(tag));
    if (form == value_form::in_entry) {
        return property;
    }
    if (form == value_form::in_storage || form == value_form::unknown) {
        if (const auto* inner = storage.take_storage(value_name(tag))) {
            property.storages.push_back(*inner);
            return property;
        }
    }
    if (const auto* stream = storage.take_stream(value_name(tag))) {
        property.streams.push_back(*stream);
    } else if (form != value_form::unknown && (form == value_form::in_storage || !tells_nothing(property))) {
        if (is_string(PROP_TYPE(tag))) {
            return {};
        }
        refuse_property(tag, no_value);
    }
    if (form == value_form::list_of_streams && !property.streams.empty()) {
        take_elements(storage, property);
    } else if (form == value_form::unknown && (PROP_TYPE(tag) & MV_FLAG) != 0 && !property.streams.empty()) {
        take_unknown_elements(storage, property);
    }
    return property;
}

/// An entry with its value. An entry that repeats the tag of an earlier one has no value.
struct taken_property
{
    stored_property stored;
    bool repeated;
};

/// Of a list that is cut off, the whole entries are used; a missing part of the header counts as zeros.
std::vector<taken_property> take_properties(storage_contents& storage, object_kind kind, std::string& header,
                                            std::vector<std::string>& warnings)
{
    const auto* list = storage.take_stream(properties_stream);
    if (!list) {
        throw unreadable_message(kind == object_kind::message ? "it holds no Outlook message"
                                                              : "a part of it has no list of properties");
    }
    const std::string data = to_string(*list->contents);
    const std::size_t begin = header_size(kind);
    if (data.size() < begin || (data.size() - begin) % property_entry().size() != 0) {
        warnings.emplace_back("a list of properties is cut off");
    }
    header = data.substr(0, begin);
    header.resize(begin, '\0');
    std::vector<taken_property> properties;
    std::map<std::uint32_t, bool> tags; // whether there is a value
    for (std::size_t i = begin; i + property_entry().size() <= data.size(); i += property_entry().size()) {
        property_entry entry{};
        data.copy(entry.data(), entry.size(), i);
        const std::uint32_t tag = tag_of(entry);
        if (const auto known = tags.find(tag); known != tags.end()) {
            if (known->second) {
                properties.push_back({{entry, {}, {}}, true});
            }
        } else if (auto property = take_property(storage, entry)) {
            properties.push_back({*std::move(property), false});
            tags.emplace(tag, true);
        } else {
            warnings.push_back(property_problem(tag, no_value));
            tags.emplace(tag, false);
        }
    }
    return properties;
}

std::uint32_t number_of_property(const std::vector<taken_property>& properties, std::uint32_t tag)
{
    const auto found = std::find_if(properties.begin(), properties.end(),
                                    [tag](const auto& property) { return property.stored.tag() == tag; });
    return found == properties.end() ? 0 : u32_at(found->stored.entry, entry_value);
}

/// Returns true for a code page that this system can convert and that is valid for narrow text.
bool is_usable(std::uint32_t code_page)
{
    if (code_page == 0 || code_page == utf16_page || code_page == utf16_page + 1) {
        return false;
    }
    try {
        return winapi::conv_to_wide("a", code_page) == L"a";
    } catch (const std::runtime_error&) {
        return false;
    }
}

/// Returns the code page of a property, or the 8-bit one of its language if this system has only that; 0 if neither is
/// usable.
std::uint32_t usable_page(std::uint32_t code_page)
{
    const std::uint32_t eight_bit = winapi::eight_bit_code_page(code_page);
    if (!is_usable(eight_bit)) {
        return 0;
    }
    return is_usable(code_page) ? code_page : eight_bit;
}

/// A code page for the texts, that of the enclosing message included, precedes that of the message in transit: whoever
/// wrote the file wrote the texts of all its messages in one code page.
narrow_page page_of(const std::vector<taken_property>& properties, narrow_page inherited)
{
    const std::uint32_t of_texts = usable_page(number_of_property(properties, tag::message_code_page));
    if (of_texts != 0) {
        return {of_texts, true};
    }
    const std::uint32_t in_transit = usable_page(number_of_property(properties, PR_INTERNET_CPID));
    return in_transit != 0 && !inherited.exact ? narrow_page{in_transit, false} : inherited;
}

bool all_narrow(const std::vector<taken_property>& properties)
{
    const auto has = [&](std::uint32_t type) {
        return std::any_of(properties.begin(), properties.end(),
                           [type](const auto& property) { return PROP_TYPE(property.stored.tag()) == type; });
    };
    return has(PT_STRING8) && !has(PT_UNICODE);
}

/// Returns the store's identifier for a property of the file; 0 if `file_id` denotes no property.
std::uint32_t store_id(std::uint32_t file_id, const file_context& file)
{
    if (file_id == 0 || file_id == 0xFFFF) {
        return 0;
    }
    if (file_id < first_named) {
        return file_id;
    }
    const property_name* name = file.names->name_of(file_id);
    const std::uint32_t id =
        file.store->names.id_of(name ? *name : property_name{nameless_set, static_cast<std::int32_t>(file_id)}, true);
    if (id == 0) {
        throw unreadable_message("it has too many named properties");
    }
    return id;
}

/// Of several entries for one identifier the one with the highest rank is used: binary data, then Unicode text, then
/// narrow text.
int rank(const stored_property& property)
{
    const std::uint32_t type = PROP_TYPE(property.tag());
    return type == PT_STRING8 ? 0 : type == PT_UNICODE ? 1 : 2;
}

property_value decode_or_empty(const stored_property& property, std::uint32_t code_page)
{
    const value_form form = form_of(PROP_TYPE(property.tag()));
    const bool has_nothing = property.streams.empty() && property.storages.empty();
    if (!has_nothing || form == value_form::in_entry || form == value_form::unknown) {
        return decode(property, code_page);
    }
    stored_property with_value = property;
    with_value.streams.push_back({value_name(property.tag()), bytes_of({})});
    return decode(with_value, code_page);
}

} // namespace

std::shared_ptr<kept_object> parse_properties(storage_contents& storage, object_kind kind, file_context& file,
                                              narrow_page inherited, property_bag& bag)
{
    auto kept = std::make_shared<kept_object>();
    kept->names = file.names;
    auto properties = take_properties(storage, kind, kept->header, file.warnings);
    kept->page = page_of(properties, inherited);
    kept->narrow = all_narrow(properties);
    const std::uint32_t html_page = number_of_property(properties, PR_INTERNET_CPID);

    std::map<std::uint32_t, std::size_t> shown; // identifier in the store to index of the entry
    for (auto& [stored, repeated] : properties) {
        kept_property property;
        property.id = store_id(PROP_ID(stored.tag()), file);
        property.shadow = repeated;
        if (!repeated) {
            property.value = decode_or_empty(stored, kept->page.number);
        }
        if (is_message(kind) && property.id == html_id && is_string(property.value.type)) {
            property.value = html_bytes(property.value, html_page);
        }
        property.stored = std::move(stored);
        if (property.id != 0 && !repeated) {
            const auto [place, first] = shown.emplace(property.id, kept->properties.size());
            if (!first && rank(property.stored) > rank(kept->properties[place->second].stored)) {
                kept->properties[place->second].shadow = true;
                place->second = kept->properties.size();
            } else {
                property.shadow = !first;
            }
        }
        kept->properties.push_back(std::move(property));
    }
    for (const auto& [id, place] : shown) {
        const property_value& value = kept->properties[place].value;
        bag.set(PROP_TAG(value.type, id), value);
    }
    return kept;
}

} // namespace host::msg
