#include "mail/msg/message_parser.h"

#include "mail/msg/layout.h"
#include "mail/msg/object_parser.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace host::msg {

namespace {

constexpr std::size_t most_warnings = 20; ///< of a file; a damaged one may have thousands of reasons

/// A number larger than the file specifies is accepted; a smaller one means that some are missing.
void check_count(const std::string& header, std::size_t offset, std::size_t found, const char* what,
                 std::vector<std::string>& warnings)
{
    const std::uint32_t told = u32_at(header, offset);
    if (told > found) {
        warnings.push_back("it tells of " + std::to_string(told) + " " + what + " but holds " + std::to_string(found));
    }
}

/// Adds the location to all warnings from index `first` on.
void locate(std::vector<std::string>& warnings, std::size_t first, const char* part, std::uint32_t number)
{
    for (std::size_t i = first; i < warnings.size(); ++i) {
        warnings[i].insert(0, std::string(part) + " " + std::to_string(number) + ": ");
    }
}

std::shared_ptr<const incomplete_reading> reading_with(std::vector<std::string> warnings)
{
    if (warnings.empty()) {
        return nullptr;
    }
    if (warnings.size() > most_warnings) {
        const std::size_t more = warnings.size() - most_warnings;
        warnings.resize(most_warnings);
        warnings.push_back("and " + std::to_string(more) + " more");
    }
    return std::make_shared<const incomplete_reading>(incomplete_reading{{}, std::move(warnings)});
}

class message_parser
{
public:
    explicit message_parser(file_context file)
        : file_(std::move(file))
    {}

    message_record parse(storage_contents& contents, const storage_tree::storage& self, object_kind kind,
                         narrow_page inherited, int depth)
    {
        message_record record;
        record.store = file_.store;
        const auto kept = parse_properties(contents, kind, file_, inherited, *record.properties);
        const auto recipients = contents.take_numbered(recipient_prefix);
        const auto attachments = contents.take_numbered(attachment_prefix);
        check_count(kept->header, recipient_count, recipients.size(), "recipients", file_.warnings);
        check_count(kept->header, attachment_count, attachments.size(), "attachments", file_.warnings);
        for (const auto& [number, storage] : recipients) {
            const std::size_t before = file_.warnings.size();
            record.recipients.push_back(parse_recipient(*storage, kept->page));
            locate(file_.warnings, before, "recipient", number);
        }
        for (const auto& [number, storage] : attachments) {
            const std::size_t before = file_.warnings.size();
            record.attachments.emplace(number, parse_attachment(*storage, kept->page, depth));
            locate(file_.warnings, before, "attachment", number);
        }
        finish(*kept, contents, self);
        record.properties->origin(kept);
        return record;
    }

    /// Returns null if no part was missing so far.
    [[nodiscard]] std::shared_ptr<const incomplete_reading> incomplete() const { return reading_with(file_.warnings); }

private:
    std::shared_ptr<property_bag> parse_recipient(const storage_tree::storage& storage, narrow_page page)
    {
        auto bag = std::make_shared<property_bag>();
        storage_contents contents(*storage.contents);
        const auto kept = parse_properties(contents, object_kind::recipient, file_, page, *bag);
        finish(*kept, contents, storage);
        bag->origin(kept);
        return bag;
    }

    attachment_record parse_attachment(const storage_tree::storage& storage, narrow_page page, int depth)
    {
        attachment_record result;
        storage_contents contents(*storage.contents);
        const auto kept = parse_properties(contents, object_kind::attachment, file_, page, *result.properties);
        take_message(*kept, result, page, depth);
        finish(*kept, contents, storage);
        result.properties->origin(kept);
        return result;
    }

    /// Replaces the storage with an embedded message by the message.
    void take_message(kept_object& kept, attachment_record& attachment, narrow_page page, int depth)
    {
        const property_value* method = attachment.properties->find(PROP_ID(PR_ATTACH_METHOD));
        const property_value* data = attachment.properties->find(PROP_ID(PR_ATTACH_DATA_OBJ));
        if (!method || method->number() != ATTACH_EMBEDDED_MSG || !data ||
            !std::holds_alternative<storage_ptr>(data->data) || depth + 1 >= deepest_embedded) {
            return;
        }
        const auto property =
            std::find_if(kept.properties.begin(), kept.properties.end(), [](const kept_property& candidate) {
                return candidate.id == PROP_ID(PR_ATTACH_DATA_OBJ) && !candidate.shadow;
            });
        const storage_tree::storage storage = std::move(property->stored.storages.front());
        property->stored.storages.clear();
        property->value = {PT_OBJECT, {}};
        attachment.properties->erase(PROP_ID(PR_ATTACH_DATA_OBJ));
        storage_contents contents(*storage.contents);
        attachment.embedded =
            std::make_shared<const message_record>(parse(contents, storage, object_kind::embedded, page, depth + 1));
    }

    static void finish(kept_object& kept, const storage_contents& contents, const storage_tree::storage& self)
    {
        kept.rest = contents.rest();
        kept.name = self.name;
        kept.class_id = self.contents->class_id;
    }

    file_context file_;
};

} // namespace

message_record parse_message(const storage_tree& root, const std::shared_ptr<store_context>& store)
{
    storage_contents contents(root);
    const auto* names = contents.take_storage(names_storage);
    message_parser parser({store, std::make_shared<const name_mapping>(names ? names->contents : nullptr), {}});
    const storage_ptr borrowed(std::shared_ptr<const void>(), &root);
    message_record record = parser.parse(contents, {{}, borrowed}, object_kind::message, {}, 0);
    record.incomplete = parser.incomplete();
    return record;
}

} // namespace host::msg
