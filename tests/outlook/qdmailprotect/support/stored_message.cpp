#include "tests/outlook/qdmailprotect/support/stored_message.h"

#include "tool/system/conversions.h"

#include <gtest/gtest.h>

#include <utility>

namespace test {

namespace {

std::string text_of(const host::property_value& value)
{
    if (const auto* bytes = std::get_if<host::bytes_ptr>(&value.data)) {
        return host::to_string(**bytes);
    }
    if (host::is_string(value.type)) {
        return winapi::conv_to_char(value.wide(), winapi::code_page_utf8);
    }
    return std::to_string(value.number());
}

host::message_record usual_contents()
{
    using value = host::property_value;
    host::message_record record;
    host::property_bag& properties = *record.properties;
    properties.set(PR_MESSAGE_CLASS_W, value::of_text(L"IPM.Note.Original"));
    properties.set(PR_SUBJECT_W, value::of_text(L"Old subject"));
    properties.set(PR_SENDER_NAME_W, value::of_text(L"Ada"));
    properties.set(PR_BODY_W, value::of_text(L"Old text"));
    properties.set(PR_HTML, value::of_binary(host::bytes_of("<p>Old and long body</p>")));
    properties.set(PR_ENTRYID, value::of_binary(host::bytes_of("\x01\x02")));
    properties.set(PR_NATIVE_BODY_INFO, value::of_long(1));
    properties.set(PR_INTERNET_CPID, value::of_long(1252));
    return record;
}

} // namespace

std::optional<std::string> value_of(const host::property_bag& properties, ULONG tag)
{
    const host::property_value* value = properties.find(PROP_ID(tag));
    return value ? std::optional(text_of(*value)) : std::nullopt;
}

std::map<ULONG, std::string> values_of(const host::property_bag& properties)
{
    std::map<ULONG, std::string> values;
    for (const std::uint32_t tag : properties.tags()) {
        values[tag] = text_of(*properties.find(PROP_ID(tag)));
    }
    return values;
}

host::attachment_record file_attachment(std::wstring_view name, const std::string& contents)
{
    host::attachment_record result;
    result.properties->set(PR_ATTACH_METHOD, host::property_value::of_long(ATTACH_BY_VALUE));
    result.properties->set(PR_ATTACH_LONG_FILENAME_W, host::property_value::of_text(name));
    result.properties->set(PR_DISPLAY_NAME_W, host::property_value::of_text(name));
    result.properties->set(PR_ATTACH_DATA_BIN, host::property_value::of_binary(host::bytes_of(contents)));
    return result;
}

stored_message::stored_message(scripted_store& store, std::string name)
    : stored_message(store, std::move(name), usual_contents())
{}

stored_message::stored_message(scripted_store& store, std::string name, host::message_record contents)
    : store_(store)
    , name_(std::move(name))
    , record_(std::move(contents))
{
    record_.store = store.context();
}

void stored_message::attach(std::uint32_t number, std::wstring_view name, const std::string& contents)
{
    attach(number, file_attachment(name, contents));
}

void stored_message::attach(std::uint32_t number, host::attachment_record attachment)
{
    record_.attachments[number] = std::move(attachment);
}

void stored_message::attach_message(std::uint32_t number, std::wstring_view subject, std::wstring_view text)
{
    host::message_record inner;
    inner.store = record_.store;
    inner.properties->set(PR_SUBJECT_W, host::property_value::of_text(subject));
    inner.properties->set(PR_BODY_W, host::property_value::of_text(text));
    inner.properties->set(PR_NATIVE_BODY_INFO, host::property_value::of_long(1));
    host::attachment_record attachment;
    attachment.properties->set(PR_ATTACH_METHOD, host::property_value::of_long(ATTACH_EMBEDDED_MSG));
    attachment.properties->set(PR_DISPLAY_NAME_W, host::property_value::of_text(subject));
    attachment.embedded = std::make_shared<const host::message_record>(std::move(inner));
    record_.attachments[number] = std::move(attachment);
}

void stored_message::never_scanned(std::uint32_t number)
{
    record_.attachments.at(number).properties->set(PR_ATTACH_METHOD, host::property_value::of_long(ATTACH_BY_REF_ONLY));
}

void stored_message::set(ULONG tag, const host::property_value& value)
{
    record_.properties->set(tag, value);
    if (object_) {
        inner_->current().properties->set(tag, value);
    }
}

void stored_message::set_bytes(ULONG tag, std::string bytes)
{
    set(tag, host::from_stream_bytes(PROP_TYPE(tag), host::bytes_of(std::move(bytes))));
}

void stored_message::remove(ULONG tag)
{
    record_.properties->erase(PROP_ID(tag));
    if (object_) {
        inner_->current().properties->erase(PROP_ID(tag));
    }
}

void stored_message::make_encrypted()
{
    const host::property_name name{PS_INTERNET_HEADERS, std::wstring(L"content-type")};
    set_text(PROP_TAG(PT_UNICODE, record_.store->names.id_of(name, true)),
             L"application/pkcs7-mime; smime-type=enveloped-data; name=smime.p7m");
}

scripted_message& stored_message::object()
{
    if (!object_) {
        inner_ = MakeCom<host::message_object>(record_, true, [this](const host::message_record&) {
            ++saves;
            return HRESULT{S_OK};
        });
        object_ = MakeCom<scripted_message>(store_, name_, ComPtr<IMessage>(inner_.get()));
    }
    return *object_;
}

void stored_message::close()
{
    object_.reset();
}

const host::message_record& stored_message::now()
{
    object();
    return inner_->current();
}

std::optional<std::string> stored_message::value(ULONG tag)
{
    return value_of(*now().properties, tag);
}

std::optional<std::string> stored_message::value(std::uint32_t attachment, ULONG tag)
{
    const auto found = now().attachments.find(attachment);
    return found == now().attachments.end() ? std::nullopt : value_of(*found->second.properties, tag);
}

std::vector<std::string> stored_message::attachments()
{
    std::vector<std::string> result;
    for (const auto& [number, attachment] : now().attachments) {
        result.push_back(std::to_string(number) + " " +
                         value_of(*attachment.properties, PR_ATTACH_LONG_FILENAME_W).value_or("(none)"));
    }
    return result;
}

std::unique_ptr<stored_message> empty_message(scripted_store& store, std::string name)
{
    return std::make_unique<stored_message>(store, std::move(name), host::message_record{});
}

ULONG verdict_tag(const scripted_store& store)
{
    constexpr GUID set{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}};
    const std::uint32_t id = store.context()->names.id_of({set, std::int32_t{1}}, false);
    return id == 0 ? 0 : PROP_TAG(PT_LONG, id);
}

AttachmentResult condemned_record(std::uint32_t number, std::wstring name, std::string notice)
{
    AttachmentResult record;
    record.attachNumber = number;
    record.attachMethod = ATTACH_BY_VALUE;
    record.fileName = std::move(name);
    record.noticeHtml = std::move(notice);
    record.scanResult = ScanResult::Blocked;
    return record;
}

} // namespace test
