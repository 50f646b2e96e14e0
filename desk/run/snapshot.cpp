#include "desk/run/snapshot.h"

#include "digest/sha256.h"
#include "store/tags.h"
#include "tool/system/conversions.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace host {

namespace {

constexpr GUID verdict_set{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};

void add(digest::sha256& sum, const bytes& data)
{
    std::array<char, 65536> block{};
    for (std::uint64_t offset = 0; offset < data.size();) {
        const std::size_t got = data.read(offset, block.data(), block.size());
        if (got == 0) {
            break;
        }
        sum.add({block.data(), got});
        offset += got;
    }
}

std::string utf8(const std::wstring& text)
{
    return winapi::conv_to_char(text, winapi::code_page_utf8);
}

std::string text_property(const property_bag& properties, std::uint32_t tag)
{
    const property_value* value = properties.find(PROP_ID(tag));
    return value && is_string(value->type) ? utf8(value->wide()) : std::string();
}

std::uint32_t number_property(const property_bag& properties, std::uint32_t tag)
{
    const property_value* value = properties.find(PROP_ID(tag));
    return value ? static_cast<std::uint32_t>(value->number()) : 0;
}

bytes_ptr binary_property(const property_bag& properties, std::uint32_t tag)
{
    const property_value* value = properties.find(PROP_ID(tag));
    return value && value->type == PT_BINARY ? std::get<bytes_ptr>(value->data) : nullptr;
}

/// Returns "name <address>", or the one that exists.
std::string sender_of(const property_bag& properties)
{
    std::string name = text_property(properties, PR_SENDER_NAME_W);
    if (name.empty()) {
        name = text_property(properties, PR_SENT_REPRESENTING_NAME_W);
    }
    std::string address = text_property(properties, tag::sender_smtp_address);
    if (address.empty()) {
        address = text_property(properties, PR_SENDER_EMAIL_ADDRESS_W);
    }
    if (name.empty() || address.empty() || name == address) {
        return name.empty() ? address : name;
    }
    return name + " <" + address + '>';
}

attachment_snapshot take_attachment(std::uint32_t number, const attachment_record& attachment)
{
    const property_bag& properties = *attachment.properties;
    attachment_snapshot result;
    result.number = number;
    result.name = attachment_name(attachment);
    result.method = number_property(properties, PR_ATTACH_METHOD);
    result.mime_tag = text_property(properties, PR_ATTACH_MIME_TAG_W);
    result.content_id = text_property(properties, PR_ATTACH_CONTENT_ID_W);
    result.hidden = number_property(properties, PR_ATTACHMENT_HIDDEN) != 0;
    result.size = attachment.size();
    result.data = attachment.embedded ? nullptr : binary_property(properties, PR_ATTACH_DATA_BIN);
    result.embedded = attachment.embedded;
    return result;
}

/// Adds the contents of an attached message: subject, bodies and attachments.
void add(digest::sha256& sum, const message_snapshot& message)
{
    add(sum, *bytes_of(message.subject + '\n'));
    for (const bytes_ptr& body : {message.body, message.html}) {
        if (body) {
            add(sum, *body);
        }
    }
    for (const auto& attachment : message.attachments) {
        add(sum, *bytes_of(attachment.name + '\n'));
        if (attachment.data) {
            add(sum, *attachment.data);
        } else if (attachment.embedded) {
            add(sum, take_snapshot(*attachment.embedded));
        }
    }
}

template <typename Source>
std::string digest_text(const Source& source)
{
    digest::sha256 sum;
    add(sum, source);
    return digest::to_text(sum.finish());
}

nlohmann::ordered_json digest_of(const bytes_ptr& data, digest_cache& digests)
{
    if (!data) {
        return nullptr;
    }
    std::string& digest = digests[data.get()];
    if (digest.empty()) {
        digest = digest_text(*data);
    }
    return digest;
}

nlohmann::ordered_json digest_of(const attachment_snapshot& attachment, digest_cache& digests)
{
    if (!attachment.embedded) {
        return digest_of(attachment.data, digests);
    }
    std::string& digest = digests[attachment.embedded.get()];
    if (digest.empty()) {
        digest = digest_text(take_snapshot(*attachment.embedded));
    }
    return digest;
}

} // namespace

std::string attachment_name(const attachment_record& attachment)
{
    std::string name;
    for (const std::uint32_t tag : {std::uint32_t{PR_DISPLAY_NAME_W}, std::uint32_t{PR_ATTACH_LONG_FILENAME_W},
                                    std::uint32_t{PR_ATTACH_FILENAME_W}}) {
        if (name.empty()) {
            name = text_property(*attachment.properties, tag);
        }
    }
    return name;
}

message_snapshot take_snapshot(const message_record& message)
{
    const property_bag& properties = *message.properties;
    message_snapshot result;
    result.subject = text_property(properties, PR_SUBJECT_W);
    result.sender = sender_of(properties);
    result.message_class = text_property(properties, PR_MESSAGE_CLASS_W);
    result.body_type = number_property(properties, PR_NATIVE_BODY_INFO);
    if (const property_value* body = properties.find(PROP_ID(PR_BODY_W))) {
        result.body = body->narrow(winapi::code_page_utf8);
    }
    result.html = binary_property(properties, PR_HTML);
    result.html_page = number_property(properties, PR_INTERNET_CPID);
    result.size = message.size();
    if (const std::uint32_t id = message.store->names.id_of({verdict_set, std::int32_t{1}}, false)) {
        if (const property_value* verdict = properties.find(id)) {
            result.verdict_property = static_cast<std::uint32_t>(verdict->number());
        }
    }
    for (const auto& [number, attachment] : message.attachments) {
        result.attachments.push_back(take_attachment(number, attachment));
    }
    return result;
}

const attachment_snapshot* attachment_with(const message_snapshot& message, std::uint32_t number)
{
    const auto found = std::lower_bound(message.attachments.begin(), message.attachments.end(), number,
                                        [](const auto& entry, std::uint32_t wanted) { return entry.number < wanted; });
    return found == message.attachments.end() || found->number != number ? nullptr : &*found;
}

bool same_attachment(const attachment_snapshot& left, const attachment_snapshot& right)
{
    return left.name == right.name && left.method == right.method && left.embedded == right.embedded &&
           same_bytes(left.data, right.data);
}

bool same_body(const message_snapshot& left, const message_snapshot& right)
{
    return left.body_type == right.body_type && same_bytes(left.body, right.body) && same_bytes(left.html, right.html);
}

nlohmann::ordered_json to_json(const message_snapshot& snapshot, digest_cache& digests)
{
    nlohmann::ordered_json result;
    result["subject"] = snapshot.subject;
    result["message_class"] = snapshot.message_class;
    result["body_type"] = snapshot.body_type;
    result["body_sha256"] = digest_of(snapshot.body, digests);
    result["html_sha256"] = digest_of(snapshot.html, digests);
    result["verdict_property"] = nullptr;
    if (snapshot.verdict_property) {
        result["verdict_property"] = *snapshot.verdict_property;
    }
    auto& list = result["attachments"] = nlohmann::ordered_json::array();
    for (const auto& attachment : snapshot.attachments) {
        nlohmann::ordered_json entry;
        entry["number"] = attachment.number;
        entry["name"] = attachment.name;
        entry["method"] = attachment.method;
        entry["mime_tag"] = attachment.mime_tag;
        entry["content_id"] = attachment.content_id;
        entry["hidden"] = attachment.hidden;
        entry["size"] = attachment.size;
        entry["sha256"] = digest_of(attachment, digests);
        list.push_back(std::move(entry));
    }
    return result;
}

} // namespace host
