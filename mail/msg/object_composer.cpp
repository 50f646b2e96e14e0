#include "mail/msg/object_composer.h"

#include "mail/msg/html_text.h"
#include "tool/system/conversions.h"

#include <set>
#include <utility>

namespace host::msg {

namespace {

/// Converts a text to the form of the other texts of the message.
property_value in_form(const property_value& value, const text_form& texts)
{
    if (value.type == PT_UNICODE && texts.narrow) {
        if (auto narrow = narrow_exactly(value.wide(), texts.code_page)) {
            return {PT_STRING8, bytes_of(std::move(*narrow)), texts.code_page};
        }
    } else if (value.type == PT_STRING8 && !texts.narrow) {
        return convert_string(value, PT_UNICODE);
    } else if (value.type == (PT_STRING8 | MV_FLAG) && !texts.narrow) {
        std::vector<std::wstring> list;
        for (const auto& text : std::get<std::vector<std::string>>(value.data)) {
            list.push_back(winapi::conv_to_wide(text, value.code_page));
        }
        return {PT_UNICODE | MV_FLAG, std::move(list)};
    }
    return value;
}

class properties_composer
{
public:
    properties_composer(std::string header, name_writer& names, storage_builder& target)
        : list_(std::move(header))
        , names_(names)
        , target_(target)
    {}

    void put(const stored_property& property)
    {
        list_.append(property.entry.data(), property.entry.size());
        for (const auto& stream : property.streams) {
            target_.add(stream); // entries with the same tag share these streams
        }
        for (const auto& storage : property.storages) {
            target_.add(storage);
        }
    }

    void put_kept(const kept_property& property, const kept_object& kept)
    {
        const std::uint32_t tag = property.stored.tag();
        const std::uint32_t id =
            property.id == 0 ? PROP_ID(tag) : names_.file_id(property.id, PROP_ID(tag), kept.names.get());
        put(id == PROP_ID(tag) ? property.stored : renamed(property.stored, PROP_TAG(PROP_TYPE(tag), id)));
    }

    /// `flags_of`: the previous entry of the property, whose flags are kept; may be null.
    void put_new(std::uint32_t id, const property_value& value, const stored_property* flags_of)
    {
        stored_property property = encode(PROP_TAG(value.type, names_.file_id(id)), value);
        if (flags_of) {
            set_u32(property.entry, entry_flags, u32_at(flags_of->entry, entry_flags));
        }
        put(property);
    }

    void finish() { target_.add(storage_tree::stream{std::string(properties_stream), bytes_of(std::move(list_))}); }

private:
    std::string list_;
    name_writer& names_;
    storage_builder& target_;
};

} // namespace

void compose_properties(const property_bag& bag, const kept_object* kept, object_kind kind, const text_form& texts,
                        std::string header, name_writer& names, storage_builder& target)
{
    properties_composer composer(std::move(header), names, target);
    std::set<std::uint32_t> same{0}; // properties that are in no bag are always kept
    if (kind == object_kind::message || kind == object_kind::embedded) {
        same.insert(PROP_ID(PR_ENTRYID)); // belongs to the store, not to the message; the file's own is kept
    }
    std::set<std::uint32_t> done = same;
    if (kept) {
        for (const auto& property : kept->properties) {
            const property_value* now = property.shadow ? nullptr : bag.find(property.id);
            if (now && same_value(*now, property.value)) {
                same.insert(property.id);
            }
            done.insert(property.id);
        }
        for (const auto& property : kept->properties) {
            if (same.contains(property.id)) {
                composer.put_kept(property, *kept);
            } else if (const property_value* now = bag.find(property.id); now && !property.shadow) {
                composer.put_new(property.id, in_form(*now, texts), &property.stored);
            }
        }
    }
    for (const std::uint32_t tag : bag.tags()) {
        if (!done.contains(PROP_ID(tag))) {
            composer.put_new(PROP_ID(tag), in_form(*bag.find(PROP_ID(tag)), texts), nullptr);
        }
    }
    composer.finish();
}

} // namespace host::msg
