#pragma once

#include "mail/msg/compound_file.h"
#include "mail/msg/layout.h"
#include "mail/msg/msg_file.h"
#include "store/message_record.h"
#include "store/unreadable_message.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace host::test {

/// Builds the storage of an object of a message file, based on the format's specification only.
class made_object
{
public:
    explicit made_object(std::string header)
        : list_(std::move(header))
    {}

    /// Messages contain the numbers of their recipients and attachments.
    static made_object message() { return {std::string(32, '\0'), true}; }
    static made_object embedded() { return {std::string(24, '\0'), true}; }
    static made_object part() { return made_object(std::string(8, '\0')); }

    /// Adds an arbitrary entry.
    made_object& entry(std::uint32_t tag, std::uint32_t first, std::uint32_t second = 0, std::uint32_t flags = 6)
    {
        for (const std::uint32_t number : {tag, flags, first, second}) {
            msg::append_u32(list_, number);
        }
        return *this;
    }
    made_object& stream(const std::string& name, std::string contents)
    {
        tree_.streams.push_back({name, bytes_of(std::move(contents))});
        return *this;
    }
    made_object& storage(const std::string& name, storage_ptr contents)
    {
        tree_.storages.push_back({name, std::move(contents)});
        return *this;
    }
    /// Adds a property with a stream; `end` is the size of the terminator that the stored size includes.
    made_object& value(std::uint32_t tag, const std::string& contents, std::uint32_t end = 0, std::uint32_t flags = 6)
    {
        entry(tag, static_cast<std::uint32_t>(contents.size()) + end, 0, flags);
        return stream(msg::value_name(tag), contents);
    }
    made_object& text(std::uint32_t tag, std::wstring_view text) { return value(tag, to_utf16le(text), 2); }
    made_object& narrow(std::uint32_t tag, const std::string& text) { return value(tag, text, 1); }
    made_object& recipient(std::uint32_t number, const made_object& part)
    {
        count(8, number);
        return storage(msg::numbered_name(msg::recipient_prefix, number), part.build());
    }
    made_object& attachment(std::uint32_t number, const made_object& part)
    {
        count(12, number);
        return storage(msg::numbered_name(msg::attachment_prefix, number), part.build());
    }
    made_object& class_id(const GUID& id)
    {
        tree_.class_id = id;
        return *this;
    }

    [[nodiscard]] storage_ptr build() const
    {
        auto result = std::make_shared<storage_tree>(tree_);
        result->streams.push_back({std::string(msg::properties_stream), bytes_of(list_)});
        return result;
    }

private:
    made_object(std::string header, bool counts)
        : list_(std::move(header))
        , counts_(counts)
    {}

    /// Updates the next number at `offset` and increments the count, which is two numbers after it.
    void count(std::size_t offset, std::uint32_t number)
    {
        if (counts_) {
            std::string next;
            msg::append_u32(next, std::max(msg::u32_at(list_, offset), number + 1));
            std::string sum;
            msg::append_u32(sum, msg::u32_at(list_, offset + 8) + 1);
            list_.replace(offset, 4, next).replace(offset + 8, 4, sum);
        }
    }

    std::string list_;
    bool counts_ = false;
    storage_tree tree_;
};

/// Returns a plain message.
inline made_object plain_message()
{
    return made_object::message()
        .class_id(msg::message_class_id)
        .entry(0x340D0003, 0x40000)
        .text(PR_MESSAGE_CLASS_W, L"IPM.Note")
        .text(PR_SUBJECT_W, L"Crane inspection")
        .text(0x1000001F, L"All is well.");
}

/// Returns an attachment by value.
inline made_object file_part(const std::string& contents, std::wstring_view name = L"notes.txt")
{
    return made_object::part()
        .entry(PR_ATTACH_METHOD, 1)
        .text(PR_ATTACH_LONG_FILENAME_W, name)
        .value(PR_ATTACH_DATA_BIN, contents);
}

/// Describes where two storages differ, in human-readable form; empty if they are equal.
inline std::string difference(const storage_tree& left, const storage_tree& right, const std::string& where = "root")
{
    if (!(left.class_id == right.class_id)) {
        return where + ": the class differs";
    }
    const auto names = [](const auto& children) {
        std::vector<std::string> result;
        for (const auto& child : children) {
            result.push_back(child.name);
        }
        std::sort(result.begin(), result.end());
        return result;
    };
    if (names(left.streams) != names(right.streams) || names(left.storages) != names(right.storages)) {
        return where + ": other names";
    }
    for (const auto& child : left.streams) {
        for (const auto& other : right.streams) {
            if (child.name == other.name && !same_bytes(child.contents, other.contents)) {
                return where + "/" + child.name + ": other contents";
            }
        }
    }
    for (const auto& child : left.storages) {
        for (const auto& other : right.storages) {
            if (child.name == other.name) {
                std::string found = difference(*child.contents, *other.contents, where + "/" + child.name);
                if (!found.empty()) {
                    return found;
                }
            }
        }
    }
    return {};
}

/// Returns the name of an identifier in a form that is the same in every store.
inline std::string stable_name(std::uint32_t id, const name_table& names)
{
    const property_name* name = id < 0x8000 ? nullptr : names.name_of(id);
    if (!name) {
        return msg::value_name(id << 16U);
    }
    const auto* number = std::get_if<std::int32_t>(&name->name);
    return msg::bytes_of_guid(name->set) +
           (number ? "#" + std::to_string(*number) : to_utf16le(std::get<std::wstring>(name->name)));
}

/// Describes where the properties of two objects differ. Properties that only `right` has under an identifier in
/// `added` are ignored, as is the entry identifier, which depends on the location.
inline std::string difference(const property_bag& left, const name_table& left_names, const property_bag& right,
                              const name_table& right_names, const std::vector<std::uint32_t>& added)
{
    std::map<std::string, const property_value*> mine;
    std::map<std::string, const property_value*> theirs;
    for (const std::uint32_t tag : left.tags()) {
        mine[stable_name(PROP_ID(tag), left_names)] = left.find(PROP_ID(tag));
    }
    for (const std::uint32_t tag : right.tags()) {
        const bool extra = std::find(added.begin(), added.end(), tag) != added.end() && !left.find(PROP_ID(tag));
        if (!extra) {
            theirs[stable_name(PROP_ID(tag), right_names)] = right.find(PROP_ID(tag));
        }
    }
    mine.erase(msg::value_name(PR_ENTRYID & 0xFFFF0000U));
    theirs.erase(msg::value_name(PR_ENTRYID & 0xFFFF0000U));
    for (const auto& [name, value] : mine) {
        const auto other = theirs.find(name);
        if (other == theirs.end()) {
            return name + " is missing";
        }
        if (!same_value(*value, *other->second)) {
            return name + " differs";
        }
        theirs.erase(other);
    }
    return theirs.empty() ? std::string() : theirs.begin()->first + " was added";
}

/// The properties that the format requires of objects that were never in a message file.
inline const std::vector<std::uint32_t> added_to_messages{0x340D0003, PR_HASATTACH, PR_MESSAGE_FLAGS};
inline const std::vector<std::uint32_t> added_to_recipients{0x30000003, 0x0FFE0003, 0x39000003};
inline const std::vector<std::uint32_t> added_to_attachments{PR_ATTACH_NUM};

/// Describes where two messages differ; empty if they are equal.
inline std::string difference(const message_record& left, const message_record& right)
{
    const name_table& mine = left.store->names;
    const name_table& theirs = right.store->names;
    std::string found = difference(*left.properties, mine, *right.properties, theirs, added_to_messages);
    if (!found.empty()) {
        return "message: " + found;
    }
    if (left.recipients.size() != right.recipients.size() || left.attachments.size() != right.attachments.size()) {
        return "other counts";
    }
    for (std::size_t i = 0; i < left.recipients.size(); ++i) {
        found = difference(*left.recipients[i], mine, *right.recipients[i], theirs, added_to_recipients);
        if (!found.empty()) {
            return "recipient " + std::to_string(i) + ": " + found;
        }
    }
    for (const auto& [number, attachment] : left.attachments) {
        const auto other = right.attachments.find(number);
        if (other == right.attachments.end()) {
            return "attachment " + std::to_string(number) + " is missing";
        }
        found = difference(*attachment.properties, mine, *other->second.properties, theirs, added_to_attachments);
        if (found.empty() && (attachment.embedded == nullptr) != (other->second.embedded == nullptr)) {
            found = "only one has a message";
        }
        if (found.empty() && attachment.embedded) {
            found = difference(*attachment.embedded, *other->second.embedded);
        }
        if (!found.empty()) {
            return "attachment " + std::to_string(number) + ": " + found;
        }
    }
    return {};
}

/// Message files in a new folder.
class MsgTest : public testing::Test
{
protected:
    [[nodiscard]] std::filesystem::path place(const std::string& name = "mail.msg") const
    {
        return folder.path() / name;
    }
    std::filesystem::path make(const storage_ptr& contents, const std::string& name = "mail.msg") const
    {
        msg::write_compound_file(*contents, place(name));
        return place(name);
    }
    /// Adds the mapping of names that every message file has.
    std::filesystem::path make(made_object object, const std::string& name = "mail.msg") const
    {
        object.storage(std::string(msg::names_storage),
                       std::make_shared<storage_tree>(storage_tree{{},
                                                                   {{"__substg1.0_00020102", bytes_of({})},
                                                                    {"__substg1.0_00030102", bytes_of({})},
                                                                    {"__substg1.0_00040102", bytes_of({})}},
                                                                   {}}));
        return make(object.build(), name);
    }
    static message_record read(const std::filesystem::path& file)
    {
        return read_msg(file, std::make_shared<store_context>());
    }
    /// Returns the reason for the rejection of a file; empty if it can be read.
    static std::string refusal(const std::filesystem::path& file)
    {
        try {
            read(file);
            return {};
        } catch (const unreadable_message& reason) {
            return reason.what();
        }
    }
    /// Reads the file, writes the message to another one, and describes the differences between the storages of both.
    [[nodiscard]] std::string rewriting_differs(const std::filesystem::path& file) const
    {
        write_msg(read(file), place("again.msg"));
        return difference(*msg::read_compound_file(file), *msg::read_compound_file(place("again.msg")));
    }
    static std::string contents_of(const std::filesystem::path& file)
    {
        std::ifstream input(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
    }

    temporary_folder folder;
};

inline const property_value& property(const property_bag& bag, std::uint32_t tag)
{
    const property_value* value = bag.find(PROP_ID(tag));
    if (!value) {
        throw std::runtime_error("no property " + msg::value_name(tag));
    }
    return *value;
}

inline std::string bytes_in(const property_bag& bag, std::uint32_t tag)
{
    return to_string(*std::get<bytes_ptr>(property(bag, tag).data));
}

} // namespace host::test
