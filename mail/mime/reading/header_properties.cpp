#include "mail/mime/reading/header_properties.h"

#include "mail/mime/reading/address_list.h"
#include "mail/mime/reading/encoded_words.h"
#include "mail/mime/text/charset_text.h"
#include "store/tags.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

namespace {

/// The interval from 1601-01-01 to 1970-01-01 in units of 100 ns.
constexpr std::int64_t unix_epoch = 116444736000000000;
constexpr std::int64_t units_per_second = 10000000;

struct date_unref
{
    void operator()(GDateTime* date) const noexcept { g_date_time_unref(date); }
};
using date_ptr = std::unique_ptr<GDateTime, date_unref>;

void set_text(message_record& record, std::uint32_t tag, std::wstring_view text)
{
    if (!text.empty()) {
        record.properties->set(tag, property_value::of_text(text));
    }
}

void set_time(message_record& record, std::uint32_t tag, GDateTime* date)
{
    const std::int64_t seconds = g_date_time_to_unix(date);
    const std::int64_t earliest = -unix_epoch / units_per_second;
    if (seconds > earliest && seconds < (INT64_MAX - unix_epoch) / units_per_second) {
        const std::int64_t time = seconds * units_per_second + unix_epoch;
        record.properties->set(tag, property_value::of_time(static_cast<std::uint64_t>(time)));
    }
}

/// Returns the text as one line, with each fold replaced by a blank.
std::wstring unfolded(const std::wstring& text)
{
    constexpr std::wstring_view blanks = L" \t\r\n";
    std::wstring result;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find_first_of(blanks, start), text.size());
        const std::size_t next = std::min(text.find_first_not_of(blanks, end), text.size());
        const std::wstring between = text.substr(end, next - end);
        result += text.substr(start, end - start);
        result += between.find(L'\n') == std::wstring::npos ? between : L" ";
        start = next;
    }
    return result;
}

std::wstring name_of(const mail_address& who)
{
    return who.name.empty() ? to_wide(who.address) : unfolded(to_wide(who.name));
}

/// Returns the mailboxes of all headers with the given name.
std::vector<mail_address> addresses_in(GMimeMessage* message, std::string_view name)
{
    std::vector<mail_address> found;
    GMimeHeaderList* headers = g_mime_object_get_header_list(GMIME_OBJECT(message));
    const int count = g_mime_header_list_get_count(headers);
    for (int i = 0; i < count; ++i) {
        GMimeHeader* header = g_mime_header_list_get_header_at(headers, i);
        if (winapi::compare_no_case(g_mime_header_get_name(header), name) == 0) {
            std::vector<mail_address> more = read_addresses(text_of(g_mime_header_get_raw_value(header)));
            found.insert(found.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
        }
    }
    return found;
}

void set_sender(GMimeMessage* message, message_record& record)
{
    const std::vector<mail_address> from = addresses_in(message, "From");
    const std::vector<mail_address> told = addresses_in(message, "Sender");
    const std::vector<mail_address>& sender = told.empty() ? from : told;
    if (!sender.empty()) {
        const std::wstring address = to_wide(sender.front().address);
        set_text(record, PR_SENDER_NAME_W, name_of(sender.front()));
        set_text(record, PR_SENDER_EMAIL_ADDRESS_W, address);
        set_text(record, tag::sender_smtp_address, address);
        set_text(record, tag::sender_address_type, L"SMTP");
    }
    if (!from.empty()) {
        set_text(record, PR_SENT_REPRESENTING_NAME_W, name_of(from.front()));
        set_text(record, tag::representing_address, to_wide(from.front().address));
        set_text(record, tag::representing_address_type, L"SMTP");
    }
}

/// Adds the mailboxes as recipients of the given kind and stores their names in a property.
void set_recipients(const std::vector<mail_address>& list, std::int32_t kind, std::uint32_t shown_tag,
                    message_record& record)
{
    std::wstring shown;
    const auto address_type = property_value::of_text(L"SMTP");
    for (const mail_address& who : list) {
        const std::wstring name = name_of(who);
        const auto address = property_value::of_text(to_wide(who.address));
        auto recipient = std::make_shared<property_bag>();
        recipient->set(PR_RECIPIENT_TYPE, property_value::of_long(kind));
        recipient->set(PR_DISPLAY_NAME_W, property_value::of_text(name));
        recipient->set(PR_EMAIL_ADDRESS_W, address);
        recipient->set(tag::smtp_address, address);
        recipient->set(tag::address_type, address_type);
        record.recipients.push_back(std::move(recipient));
        shown += (shown.empty() ? L"" : L"; ") + name;
    }
    set_text(record, shown_tag, shown);
}

/// Returns the time at which a server received the message: the date after the last semicolon of the first Received
/// line.
date_ptr received_date(GMimeObject* message)
{
    const char* received = g_mime_object_get_header(message, "Received");
    if (!received) {
        return nullptr;
    }
    const std::string_view line = received;
    const std::size_t mark = line.rfind(';');
    return mark == std::string_view::npos
               ? nullptr
               : date_ptr(g_mime_utils_header_decode_date(std::string(line.substr(mark + 1)).c_str()));
}

void set_times(GMimeMessage* message, message_record& record)
{
    GDateTime* sent = g_mime_message_get_date(message);
    const date_ptr received = received_date(GMIME_OBJECT(message));
    if (sent) {
        set_time(record, PR_CLIENT_SUBMIT_TIME, sent);
    }
    if (received || sent) {
        set_time(record, PR_MESSAGE_DELIVERY_TIME, received ? received.get() : sent);
    }
}

void set_subject(GMimeMessage* message, message_record& record)
{
    const std::wstring subject = to_wide(g_mime_message_get_subject(message));
    set_text(record, PR_SUBJECT_W, subject);
    // A prefix consists of one to three characters, a colon and a blank.
    const std::size_t colon = subject.find(L": ");
    const bool has_prefix = colon != std::wstring::npos && colon >= 1 && colon <= 3;
    const std::wstring_view topic = has_prefix ? std::wstring_view(subject).substr(colon + 2) : subject;
    set_text(record, tag::normalized_subject, topic);
    set_text(record, tag::conversation_topic, topic);
}

void set_identifiers(GMimeMessage* message, message_record& record)
{
    if (const char* id = g_mime_message_get_message_id(message); id && *id) {
        set_text(record, PR_INTERNET_MESSAGE_ID_W, L'<' + to_wide(id) + L'>');
    }
    if (const char* parent = g_mime_object_get_header(GMIME_OBJECT(message), "In-Reply-To")) {
        set_text(record, tag::in_reply_to, to_wide(parent));
    }
}

void set_importance(GMimeMessage* message, message_record& record)
{
    const std::string told = text_of(g_mime_object_get_header(GMIME_OBJECT(message), "Importance"));
    const auto is = [&told](std::string_view word) { return winapi::compare_no_case(told, word) == 0; };
    record.properties->set(tag::importance, property_value::of_long(is("high") ? 2 : is("low") ? 0 : 1));
}

void set_content_type(GMimeMessage* message, message_record& record)
{
    // The headers of the top part are read together with those of the message and belong to the part object.
    GMimeObject* part = g_mime_message_get_mime_part(message);
    const char* told = part ? g_mime_object_get_header(part, "Content-Type") : nullptr;
    if (!told) {
        told = g_mime_object_get_header(GMIME_OBJECT(message), "Content-Type");
    }
    const std::uint32_t id = told ? record.store->names.id_of({PS_INTERNET_HEADERS, L"content-type"}, true) : 0;
    if (id != 0) {
        const glib_text line(g_mime_utils_header_unfold(told));
        set_text(record, PROP_TAG(PT_UNICODE, id), to_wide(line.get()));
    }
}

} // namespace

void set_header_properties(GMimeMessage* message, message_record& record)
{
    const glib_text headers(g_mime_object_get_headers(GMIME_OBJECT(message), nullptr));
    set_text(record, PR_TRANSPORT_MESSAGE_HEADERS_W, to_wide(headers_to_utf8(text_of(headers.get()))));
    join_encoded_words(GMIME_OBJECT(message));
    set_subject(message, record);
    set_sender(message, record);
    set_recipients(addresses_in(message, "To"), MAPI_TO, PR_DISPLAY_TO_W, record);
    set_recipients(addresses_in(message, "Cc"), MAPI_CC, PR_DISPLAY_CC_W, record);
    set_recipients(addresses_in(message, "Bcc"), MAPI_BCC, PR_DISPLAY_BCC_W, record);
    set_times(message, record);
    set_identifiers(message, record);
    set_importance(message, record);
    set_content_type(message, record);
}

} // namespace host
