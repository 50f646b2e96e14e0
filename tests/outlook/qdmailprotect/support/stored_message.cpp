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

stored_message::stored_message(store_trace& trace, std::string name, std::shared_ptr<host::store_context> store)
    : trace_(trace)
    , name_(std::move(name))
{
    if (store) {
        record_.store = std::move(store);
    }
    set_text(PR_MESSAGE_CLASS_W, L"IPM.Note.Original");
    set_text(PR_SUBJECT_W, L"Old subject");
    set_text(PR_SENDER_NAME_W, L"Ada");
    set_text(PR_BODY_W, L"Old text");
    record_.properties->set(PR_HTML, host::property_value::of_binary(host::bytes_of("<p>Old and long body</p>")));
    record_.properties->set(PR_ENTRYID, host::property_value::of_binary(host::bytes_of("\x01\x02")));
    set_number(PR_NATIVE_BODY_INFO, 1);
    set_number(PR_INTERNET_CPID, 1252);
}

void stored_message::attach(std::uint32_t number, std::wstring_view name, const std::string& contents)
{
    record_.attachments[number] = file_attachment(name, contents);
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

void stored_message::set_text(ULONG tag, std::wstring_view text)
{
    record_.properties->set(tag, host::property_value::of_text(text));
}

void stored_message::set_number(ULONG tag, std::int64_t number)
{
    record_.properties->set(tag, host::property_value::of_long(number));
}

void stored_message::remove(ULONG tag)
{
    record_.properties->erase(PROP_ID(tag));
}

void stored_message::make_encrypted()
{
    const host::property_name name{PS_INTERNET_HEADERS, std::wstring(L"content-type")};
    set_text(PROP_TAG(PT_UNICODE, record_.store->names.id_of(name, true)),
             L"application/pkcs7-mime; smime-type=enveloped-data; name=smime.p7m");
}

traced_message& stored_message::object()
{
    if (!object_) {
        inner_ = MakeCom<host::message_object>(record_, true, [this](const host::message_record&) {
            ++saves;
            return HRESULT{S_OK};
        });
        object_ = MakeCom<traced_message>(trace_, name_, ComPtr<IMessage>(inner_.get()));
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
