#include "mail/msg/message_composer.h"

#include "mail/msg/object_composer.h"
#include "store/tags.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>

namespace host::msg {

namespace {

constexpr std::uint32_t store_support_mask = 0x340D0003;
constexpr std::int64_t unicode_texts = 0x40000;
constexpr std::uint32_t row_number = 0x30000003;
constexpr std::uint32_t object_type = 0x0FFE0003;
constexpr std::int64_t mail_user = 6;
constexpr std::uint32_t display_type = 0x39000003;
constexpr std::int64_t is_read = 1;
constexpr std::int64_t has_attachments = 0x10;

void set_if_missing(property_bag& bag, std::uint32_t tag, property_value value)
{
    if (!bag.find(PROP_ID(tag))) {
        bag.set(tag, std::move(value));
    }
}

void set_number(std::string& header, std::size_t offset, std::uint32_t number)
{
    std::string bytes;
    append_u32(bytes, number);
    header.replace(offset, bytes.size(), bytes);
}

std::string header_of(const kept_object* kept, object_kind kind)
{
    const std::size_t size = header_size(kind);
    return kept && kept->header.size() == size ? kept->header : std::string(size, '\0');
}

/// The numbers that are assigned to the storages of one kind.
class numbering
{
public:
    /// Returns `wanted` if it is free, otherwise the next number.
    std::uint32_t take(std::uint32_t wanted)
    {
        while (!taken_.insert(wanted).second) {
            wanted = *taken_.rbegin() + 1;
        }
        return wanted;
    }
    [[nodiscard]] std::uint32_t count() const { return static_cast<std::uint32_t>(taken_.size()); }
    [[nodiscard]] std::uint32_t next() const { return taken_.empty() ? 0 : *taken_.rbegin() + 1; }

private:
    std::set<std::uint32_t> taken_;
};

class message_composer
{
public:
    message_composer(const name_table& table, std::shared_ptr<const name_mapping> base)
        : names_(table, std::move(base))
    {}

    storage_ptr compose_root(const message_record& message)
    {
        storage_builder target;
        compose(message, object_kind::message, target);
        // Written after the properties, which may add names until then.
        target.add(storage_tree::storage{std::string(names_storage), names_.storage()});
        add_rest(kept_of(*message.properties), target);
        return target.build();
    }

private:
    /// Writes everything except the parts that belong to no property.
    void compose(const message_record& message, object_kind kind, storage_builder& target)
    {
        const kept_object* kept = kept_of(*message.properties);
        const text_form texts{kept && kept->narrow, kept ? winapi::eight_bit_code_page(kept->page.number) : 0};
        std::string header = header_of(kept, kind);
        numbering recipients;
        for (const auto& recipient : message.recipients) {
            add_recipient(*recipient, recipients, texts, target);
        }
        numbering attachments;
        for (const auto& [number, attachment] : message.attachments) {
            attachments.take(number);
            add_attachment(attachment, number, texts, target);
        }
        set_number(header, next_recipient, std::max(u32_at(header, next_recipient), recipients.next()));
        set_number(header, next_attachment, std::max(u32_at(header, next_attachment), attachments.next()));
        set_number(header, recipient_count, recipients.count());
        set_number(header, attachment_count, attachments.count());
        compose_properties(*completed(message, kind), kept, kind, texts, std::move(header), names_, target);
        const bool was_root = kept && kept->name.empty();
        if (kind == object_kind::message) {
            target.class_id(was_root ? kept->class_id : message_class_id);
        } else if (kept && !was_root) {
            target.class_id(kept->class_id);
        }
    }

    void add_recipient(const property_bag& recipient, numbering& numbers, const text_form& texts,
                       storage_builder& target)
    {
        const kept_object* kept = kept_of(recipient);
        const auto old = kept ? number_of(kept->name, recipient_prefix) : std::nullopt;
        const std::uint32_t number = numbers.take(old.value_or(numbers.next()));
        property_bag bag(recipient);
        if (!kept) {
            set_if_missing(bag, row_number, property_value::of_long(number));
            set_if_missing(bag, object_type, property_value::of_long(mail_user));
            set_if_missing(bag, display_type, property_value::of_long(0));
        }
        storage_builder storage;
        compose_properties(bag, kept, object_kind::recipient, texts, header_of(kept, object_kind::recipient), names_,
                           storage);
        finish(storage, kept, old == number ? kept->name : numbered_name(recipient_prefix, number), target);
    }

    void add_attachment(const attachment_record& attachment, std::uint32_t number, const text_form& texts,
                        storage_builder& target)
    {
        const kept_object* kept = kept_of(*attachment.properties);
        const auto old = kept ? number_of(kept->name, attachment_prefix) : std::nullopt;
        property_bag bag(*attachment.properties);
        if (!kept) {
            set_if_missing(bag, PR_ATTACH_NUM, property_value::of_long(number));
        }
        storage_builder storage;
        if (attachment.embedded) {
            bag.set(PR_ATTACH_DATA_OBJ, {PT_OBJECT, {}});
            add_embedded(*attachment.embedded, storage);
        }
        update_size(bag, attachment, kept);
        compose_properties(bag, kept, object_kind::attachment, texts, header_of(kept, object_kind::attachment), names_,
                           storage);
        finish(storage, kept, old == number ? kept->name : numbered_name(attachment_prefix, number), target);
    }

    void add_embedded(const message_record& message, storage_builder& target)
    {
        storage_builder storage;
        compose(message, object_kind::embedded, storage);
        const kept_object* kept = kept_of(*message.properties);
        add_rest(kept, storage);
        const std::string usual = value_name(PR_ATTACH_DATA_OBJ);
        const bool as_it_was = kept && folded(kept->name) == folded(usual);
        target.add(storage_tree::storage{as_it_was ? kept->name : usual, storage.build()});
    }

    static void finish(storage_builder& storage, const kept_object* kept, const std::string& name,
                       storage_builder& target)
    {
        if (kept) {
            storage.class_id(kept->class_id);
        }
        add_rest(kept, storage);
        target.add(storage_tree::storage{name, storage.build()});
    }

    /// Writes the parts that belong to no property, except those whose name is in use now.
    static void add_rest(const kept_object* kept, storage_builder& target)
    {
        if (!kept) {
            return;
        }
        for (const auto& stream : kept->rest.streams) {
            target.add(stream);
        }
        for (const auto& storage : kept->rest.storages) {
            target.add(storage);
        }
    }

    /// If the file specified a size, it is updated when the contents have changed.
    static void update_size(property_bag& bag, const attachment_record& attachment, const kept_object* kept)
    {
        constexpr std::uint32_t data_id = PROP_ID(PR_ATTACH_DATA_BIN);
        if (!kept || !bag.find(PROP_ID(PR_ATTACH_SIZE))) {
            return;
        }
        const auto data = std::find_if(kept->properties.begin(), kept->properties.end(),
                                       [](const auto& property) { return property.id == data_id && !property.shadow; });
        const property_value* now = bag.find(data_id);
        const bool was_there = data != kept->properties.end();
        const bool same = was_there && now ? same_value(*now, data->value) : was_there == (now != nullptr);
        if (!same) {
            bag.set(PR_ATTACH_SIZE, property_value::of_long(static_cast<std::int64_t>(attachment.size())));
        }
    }

    /// Returns the message's properties with those that are derived from it or required in a new file.
    static std::shared_ptr<property_bag> completed(const message_record& message, object_kind kind)
    {
        auto bag = std::make_shared<property_bag>(*message.properties);
        const bool attached = !message.attachments.empty();
        const property_value* told = bag->find(PROP_ID(PR_HASATTACH));
        if (!kept_of(*bag) && kind == object_kind::message) {
            const property_value* mask = bag->find(PROP_ID(store_support_mask));
            bag->set(store_support_mask, property_value::of_long((mask ? mask->number() : 0) | unicode_texts));
            bag->set(PR_HASATTACH, property_value::of_bool(attached));
            set_if_missing(*bag, PR_MESSAGE_FLAGS, property_value::of_long(is_read | (attached ? has_attachments : 0)));
        } else if (told && (told->number() != 0) != attached) {
            bag->set(PR_HASATTACH, property_value::of_bool(attached));
        }
        return bag;
    }

    name_writer names_;
};

} // namespace

storage_ptr compose_message(const message_record& message)
{
    const kept_object* kept = kept_of(*message.properties);
    return message_composer(message.store->names, kept ? kept->names : nullptr).compose_root(message);
}

} // namespace host::msg
