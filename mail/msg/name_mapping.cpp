#include "mail/msg/name_mapping.h"

#include "mail/msg/layout.h"
#include "mail/msg/storage_contents.h"
#include "store/property_value.h"
#include "store/unreadable_message.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace host::msg {

namespace {

constexpr std::uint32_t guids_tag = 0x00020102;
constexpr std::uint32_t entries_tag = 0x00030102;
constexpr std::uint32_t strings_tag = 0x00040102;
constexpr std::size_t mapping_entry_size = 8;
constexpr std::uint32_t first_listed_guid = 3; ///< smaller numbers denote sets that are not in the list
constexpr std::uint32_t reverse_streams = 0x1F;
constexpr std::uint32_t first_reverse_stream = 0x1000;
constexpr std::uint32_t last_index = 0x7FFE; ///< of a name; its identifier is first_named plus the index
constexpr std::uint32_t last_set = 0x7FFF;
constexpr std::uint32_t longest_name = 2048; ///< in bytes; limits the memory of entries that share a name

constexpr GUID mapi_set{0x00020328, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr GUID public_strings_set{0x00020329, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

[[noreturn]] void refuse()
{
    throw unreadable_message("its list of property names is damaged");
}

[[noreturn]] void refuse_names()
{
    throw std::runtime_error("the message has more named properties than a message file can hold");
}

std::string key_of(const property_name& name)
{
    std::string key = bytes_of_guid(name.set);
    if (const auto* number = std::get_if<std::int32_t>(&name.name)) {
        return key + '#' + std::to_string(*number);
    }
    return key + '"' + to_utf16le(std::get<std::wstring>(name.name));
}

/// The streams that a mapping consists of.
struct mapping_streams
{
    std::string guids;
    std::string entries;
    std::string strings;

    [[nodiscard]] GUID set_of(std::uint32_t index) const
    {
        if (index < first_listed_guid) {
            return index == 1 ? mapi_set : index == 2 ? public_strings_set : GUID{};
        }
        const std::size_t offset = (index - first_listed_guid) * sizeof(GUID);
        if (offset + sizeof(GUID) > guids.size()) {
            refuse();
        }
        return guid_at(guids, offset);
    }
    [[nodiscard]] std::wstring string_at(std::uint32_t offset) const
    {
        if (strings.size() < 4 || offset > strings.size() - 4) {
            refuse();
        }
        const std::uint32_t size = u32_at(strings, offset);
        if (size > strings.size() - 4 - offset || size > longest_name) {
            refuse();
        }
        return from_utf16le(std::string_view(strings).substr(offset + 4, size));
    }
};

std::string contents_of(const storage_contents& storage, std::uint32_t tag)
{
    const auto* stream = storage.find_stream(value_name(tag));
    return stream ? to_string(*stream->contents) : std::string();
}

/// Builds the streams of a mapping.
class mapping_builder
{
public:
    void add(const property_name& name, std::uint32_t index)
    {
        const auto* number = std::get_if<std::int32_t>(&name.name);
        const std::uint32_t kind_and_set = set_index(name.set) << 1U | (number ? 0U : 1U);
        std::uint32_t told = 0;   // stored in the entry: the number, or the offset of the string
        std::uint32_t looked = 0; // used for look-up: the number, or the string's checksum
        if (number) {
            told = looked = static_cast<std::uint32_t>(*number);
        } else {
            const std::string text = to_utf16le(std::get<std::wstring>(name.name));
            looked = checksum_of_name(text);
            told = static_cast<std::uint32_t>(strings_.size());
            append_u32(strings_, static_cast<std::uint32_t>(text.size()));
            strings_ += text;
            strings_.resize((strings_.size() + 3) / 4 * 4, '\0');
        }
        const std::uint32_t second = kind_and_set | index << 16U;
        append_u32(entries_, told);
        append_u32(entries_, second);
        std::string& reverse = reverse_[(looked ^ kind_and_set) % reverse_streams];
        append_u32(reverse, looked);
        append_u32(reverse, second);
    }

    [[nodiscard]] storage_ptr build()
    {
        auto tree = std::make_shared<storage_tree>();
        const auto put = [&tree](std::uint32_t tag, std::string& contents) {
            tree->streams.push_back({value_name(tag), bytes_of(std::move(contents))});
        };
        put(guids_tag, guids_);
        put(entries_tag, entries_);
        put(strings_tag, strings_);
        for (std::uint32_t i = 0; i < reverse_streams; ++i) {
            if (!reverse_[i].empty()) {
                put((first_reverse_stream + i) << 16U | PT_BINARY, reverse_[i]);
            }
        }
        return tree;
    }

private:
    std::uint32_t set_index(const GUID& set)
    {
        if (set == GUID{}) {
            return 0;
        }
        if (set == mapi_set) {
            return 1;
        }
        if (set == public_strings_set) {
            return 2;
        }
        const std::string key = bytes_of_guid(set);
        const auto [found, added] = sets_.emplace(key, first_listed_guid + static_cast<std::uint32_t>(sets_.size()));
        if (found->second > last_set) {
            refuse_names();
        }
        if (added) {
            guids_ += key;
        }
        return found->second;
    }

    std::map<std::string, std::uint32_t> sets_; ///< the index of each set in the list
    std::string guids_;
    std::string entries_;
    std::string strings_;
    std::array<std::string, reverse_streams> reverse_;
};

} // namespace

std::uint32_t checksum_of_name(std::string_view utf16le)
{
    std::uint32_t sum = 0;
    for (const char letter : utf16le) {
        sum ^= static_cast<unsigned char>(letter);
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum & 1U) != 0 ? sum >> 1U ^ 0xEDB88320U : sum >> 1U;
        }
    }
    return sum;
}

name_mapping::name_mapping(storage_ptr storage)
    : storage_(std::move(storage))
{
    if (!storage_) {
        return;
    }
    const storage_contents contents(*storage_);
    const mapping_streams streams{contents_of(contents, guids_tag), contents_of(contents, entries_tag),
                                  contents_of(contents, strings_tag)};
    if (streams.entries.size() % mapping_entry_size != 0) {
        refuse();
    }
    for (std::size_t i = 0; i < streams.entries.size(); i += mapping_entry_size) {
        const std::uint32_t told = u32_at(streams.entries, i);
        const std::uint32_t kind_and_set = u16_at(streams.entries, i + 4);
        const std::uint32_t index = u16_at(streams.entries, i + 6);
        property_name name{streams.set_of(kind_and_set >> 1U), static_cast<std::int32_t>(told)};
        if ((kind_and_set & 1U) != 0) {
            name.name = streams.string_at(told);
        }
        if (index > last_index || !names_.emplace(first_named + index, std::move(name)).second) {
            refuse();
        }
    }
}

const property_name* name_mapping::name_of(std::uint32_t file_id) const
{
    const auto found = names_.find(file_id);
    return found == names_.end() ? nullptr : &found->second;
}

name_writer::name_writer(const name_table& names, std::shared_ptr<const name_mapping> base)
    : table_(names)
    , base_(std::move(base))
{
    for (const std::uint32_t id : table_.ids()) {
        const property_name& name = *table_.name_of(id);
        if (name.set == nameless_set && std::holds_alternative<std::int32_t>(name.name)) {
            nameless_.insert(static_cast<std::uint32_t>(std::get<std::int32_t>(name.name)));
        }
    }
    if (!base_) {
        return;
    }
    for (const auto& [id, name] : base_->names()) {
        const std::uint32_t index = id - first_named;
        while (names_.size() < index) { // a number that the file does not use
            names_.push_back({nameless_set, static_cast<std::int32_t>(first_named + names_.size())});
        }
        ids_.emplace(key_of(name), id);
        names_.push_back(name);
    }
}

/// Returns true if the number of `name` is free in the mapping or already denotes `name`.
bool name_writer::stays_nameless(const property_name& name) const
{
    const auto* number = std::get_if<std::int32_t>(&name.name);
    constexpr auto first = static_cast<std::int32_t>(first_named);
    constexpr auto last = static_cast<std::int32_t>(first_named + last_index);
    if (!(name.set == nameless_set) || !number || *number < first || *number > last) {
        return false;
    }
    const auto index = static_cast<std::size_t>(*number - first);
    return index >= names_.size() || key_of(names_[index]) == key_of(name);
}

std::uint32_t name_writer::append(const property_name& name)
{
    for (;;) {
        const auto id = static_cast<std::uint32_t>(first_named + names_.size());
        if (names_.size() > last_index) {
            refuse_names();
        }
        added_ = true;
        if (nameless_.contains(id)) { // in use: assigns the missing name
            names_.push_back({nameless_set, static_cast<std::int32_t>(id)});
            continue;
        }
        names_.push_back(name);
        ids_.emplace(key_of(name), id);
        return id;
    }
}

std::uint32_t name_writer::file_id(std::uint32_t store_id)
{
    const property_name* name = store_id < first_named ? nullptr : table_.name_of(store_id);
    if (!name) {
        return store_id;
    }
    if (stays_nameless(*name)) {
        return static_cast<std::uint32_t>(std::get<std::int32_t>(name->name));
    }
    const auto found = ids_.find(key_of(*name));
    return found == ids_.end() ? append(*name) : found->second;
}

std::uint32_t name_writer::file_id(std::uint32_t store_id, std::uint32_t read_as, const name_mapping* from)
{
    return store_id >= first_named && from && from == base_.get() ? read_as : file_id(store_id);
}

storage_ptr name_writer::storage() const
{
    if (base_ && base_->storage() && !added_) {
        return base_->storage();
    }
    mapping_builder builder;
    for (std::uint32_t i = 0; i < names_.size(); ++i) {
        builder.add(names_[i], i);
    }
    return builder.build();
}

} // namespace host::msg
