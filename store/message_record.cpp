#include "store/message_record.h"

namespace host {

namespace {

std::uint64_t size_of(const property_bag& properties)
{
    std::uint64_t sum = 0;
    for (const std::uint32_t tag : properties.tags()) {
        if (const auto* value = properties.find(PROP_ID(tag))) {
            sum += value->size();
        }
    }
    return sum;
}

} // namespace

attachment_record attachment_record::copy() const
{
    return {std::make_shared<property_bag>(*properties), embedded};
}

std::uint64_t attachment_record::size() const
{
    if (embedded) {
        return embedded->size();
    }
    const auto* data = properties->find(PROP_ID(PR_ATTACH_DATA_BIN));
    return data ? data->size() : 0;
}

message_record message_record::copy() const
{
    message_record result{store, std::make_shared<property_bag>(*properties), {}, recipients, incomplete};
    for (const auto& [number, attachment] : attachments) {
        result.attachments.emplace(number, attachment.copy());
    }
    return result; // nothing changes the recipients
}

message_record message_record::last_state() const
{
    properties->settle_all();
    for (const auto& [number, attachment] : attachments) {
        attachment.properties->settle_all();
    }
    return *this;
}

std::uint64_t message_record::size() const
{
    std::uint64_t sum = size_of(*properties);
    for (const auto& [number, attachment] : attachments) {
        sum += attachment.size();
    }
    return sum;
}

} // namespace host
