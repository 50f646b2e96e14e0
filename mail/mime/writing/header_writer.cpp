#include "mail/mime/writing/header_writer.h"

#include "mail/mime/text/header_text.h"
#include "mail/mime/text/own_headers.h"
#include "mail/mime/writing/message_properties.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "store/tags.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <array>
#include <optional>

namespace host {

namespace {

constexpr std::int64_t unix_epoch = 11644473600; ///< seconds from 1601-01-01 to 1970-01-01
constexpr std::uint64_t units_per_second = 10000000;

struct date_unref
{
    void operator()(GDateTime* date) const noexcept { g_date_time_unref(date); }
};
using date_ptr = std::unique_ptr<GDateTime, date_unref>;

bool same_name(std::string_view left, std::string_view right)
{
    return winapi::compare_no_case(left, right) == 0;
}

/// Returns true for a header that is derived from properties or written by the writer itself.
bool is_written_anew(std::string_view name)
{
    static constexpr std::array names{
        "From",       "Sender",     "To",          "Cc",           "Bcc",   "Subject",       "Date",
        "Message-ID", "Importance", "In-Reply-To", "MIME-Version", "Lines", "Content-Length"};
    constexpr std::string_view content = "Content-";
    return own_headers::is_own(name) ||
           (name.size() >= content.size() && same_name(name.substr(0, content.size()), content)) ||
           std::any_of(names.begin(), names.end(), [name](std::string_view other) { return same_name(name, other); });
}

/// A name and an address without the characters that would end the address early.
struct mailbox
{
    std::string name;
    std::string address;

    mailbox(const std::wstring& shown, const std::wstring& told)
        : name(without_controls(utf8(shown)))
        , address(without_controls(utf8(told)))
    {
        address.erase(std::remove_if(address.begin(), address.end(), [](char c) { return c == '<' || c == '>'; }),
                      address.end());
        if (name == address) {
            name.clear();
        }
    }
    [[nodiscard]] bool empty() const { return name.empty() && address.empty(); }
};

using address_list = gobject_ptr<InternetAddressList>;

void add(const mailbox& who, const address_list& list)
{
    const gobject_ptr<InternetAddress> address(internet_address_mailbox_new(
        who.name.empty() ? nullptr : with_word_breaks(who.name).c_str(), who.address.c_str()));
    internet_address_set_charset(address.get(), "utf-8");
    // The library supports non-ASCII characters in the domain only and does not fold addresses.
    auto* written = INTERNET_ADDRESS_MAILBOX(address.get());
    const std::string plain = text_of(internet_address_mailbox_get_idn_addr(written));
    if (const std::string fitting = ascii_of_line(plain); fitting != plain) {
        internet_address_mailbox_set_addr(written, fitting.c_str());
    }
    internet_address_list_add(list.get(), address.get());
}

/// Adds a whole list at once, because the library rewrites the header with each change.
void set_addresses(GMimeMessage* document, GMimeAddressType kind, const address_list& list)
{
    if (internet_address_list_length(list.get()) > 0) {
        internet_address_list_append(g_mime_message_get_addresses(document, kind), list.get());
    }
}

class header_writer
{
public:
    header_writer(IMessage& message, GMimeMessage* document)
        : message_(message)
        , document_(document)
        , kept_(split_headers(utf8(text_property(message, PR_TRANSPORT_MESSAGE_HEADERS_W))))
    {}

    void write(bool include_bcc)
    {
        for (const kept_header& header : kept_) {
            if (!is_written_anew(header.name)) {
                append_kept(header);
            }
        }
        write_senders();
        write_recipients(include_bcc);
        if (const std::wstring subject = text_property(message_, PR_SUBJECT_W); !subject.empty()) {
            append("Subject", header_words(utf8(subject)));
        }
        write_date();
        write_identifiers();
        write_importance();
    }

private:
    void append(const char* name, const std::string& value) { append_raw_header(GMIME_OBJECT(document_), name, value); }

    /// Appends a header unchanged. A header with characters or lines that are not allowed in headers is encoded anew.
    void append_kept(const kept_header& header)
    {
        constexpr std::size_t longest_line = 998;
        std::size_t line = header.name.size() + 1;
        bool good = true;
        for (const char c : header.value) {
            line = c == '\n' ? 0 : line + 1;
            good = good && line <= longest_line && (c == '\n' || c == '\t' || (c >= ' ' && c <= '~'));
        }
        if (good) {
            append(header.name.c_str(), header.value);
            return;
        }
        const glib_text unfolded(g_mime_utils_header_unfold(header.value.c_str()));
        append(header.name.c_str(), header_words(without_controls(text_of(unfolded.get()))));
    }

    const kept_header* find_kept(std::string_view name) const
    {
        const auto found = std::find_if(kept_.begin(), kept_.end(),
                                        [name](const kept_header& header) { return same_name(header.name, name); });
        return found == kept_.end() ? nullptr : &*found;
    }

    void append_kept(std::string_view name)
    {
        if (const kept_header* header = find_kept(name)) {
            append_kept(*header);
        }
    }

    void write_senders()
    {
        const mailbox from(text_property(message_, PR_SENT_REPRESENTING_NAME_W),
                           text_property(message_, tag::representing_address));
        std::wstring address = text_property(message_, tag::sender_smtp_address);
        if (address.empty()) {
            address = text_property(message_, PR_SENDER_EMAIL_ADDRESS_W);
        }
        const mailbox sender(text_property(message_, PR_SENDER_NAME_W), address);
        if (from.empty() && sender.empty()) {
            append_kept("From");
            return;
        }
        write_mailbox(from.empty() ? sender : from, GMIME_ADDRESS_TYPE_FROM);
        if (!from.empty() && !sender.empty() && sender.address != from.address) {
            write_mailbox(sender, GMIME_ADDRESS_TYPE_SENDER);
        }
    }

    void write_mailbox(const mailbox& who, GMimeAddressType kind)
    {
        const address_list list(internet_address_list_new());
        add(who, list);
        set_addresses(document_, kind, list);
    }

    void write_recipients(bool include_bcc)
    {
        ComPtr<IMAPITable> table;
        const HRESULT result = message_.GetRecipientTable(0, Receive(table));
        if (FAILED(result) || !table) {
            throw ComError(FAILED(result) ? result : E_FAIL);
        }
        const address_list to(internet_address_list_new());
        const address_list cc(internet_address_list_new());
        const address_list bcc(internet_address_list_new());
        each_row(*table, {PR_RECIPIENT_TYPE, PR_DISPLAY_NAME_W, PR_EMAIL_ADDRESS_W, tag::smtp_address},
                 [&](const SRow& row) {
                     std::wstring address = text_in(row, tag::smtp_address);
                     if (address.empty()) {
                         address = text_in(row, PR_EMAIL_ADDRESS_W);
                     }
                     const mailbox who(text_in(row, PR_DISPLAY_NAME_W), address);
                     const std::uint32_t kind = number_in(row, PR_RECIPIENT_TYPE).value_or(MAPI_TO) & 0x0FU;
                     if (!who.empty() && kind >= MAPI_TO && kind <= MAPI_BCC) {
                         add(who, kind == MAPI_TO ? to : kind == MAPI_CC ? cc : bcc);
                     }
                 });
        set_addresses(document_, GMIME_ADDRESS_TYPE_TO, to);
        set_addresses(document_, GMIME_ADDRESS_TYPE_CC, cc);
        if (include_bcc) {
            set_addresses(document_, GMIME_ADDRESS_TYPE_BCC, bcc);
        }
        // An empty list, such as that of undisclosed recipients, has no rows.
        if (internet_address_list_length(to.get()) == 0) {
            append_kept("To");
        }
        if (internet_address_list_length(cc.get()) == 0) {
            append_kept("Cc");
        }
    }

    /// Writes the original date including its time zone if it denotes the time of the property.
    void write_date()
    {
        const kept_header* kept = find_kept("Date");
        const std::optional<std::uint64_t> time = time_property(message_, PR_CLIENT_SUBMIT_TIME);
        const date_ptr told(kept ? g_mime_utils_header_decode_date(kept->value.c_str()) : nullptr);
        if (!time) {
            append_kept("Date");
            return;
        }
        const std::int64_t seconds = static_cast<std::int64_t>(*time / units_per_second) - unix_epoch;
        if (told && g_date_time_to_unix(told.get()) == seconds) {
            append_kept(*kept);
            return;
        }
        if (const date_ptr date(g_date_time_new_from_unix_utc(seconds)); date) {
            g_mime_message_set_date(document_, date.get());
        }
    }

    void write_identifiers()
    {
        std::string id = utf8(text_property(message_, PR_INTERNET_MESSAGE_ID_W));
        if (id.starts_with('<') && id.ends_with('>')) {
            id = id.substr(1, id.size() - 2);
        }
        if (is_plain_word(id)) {
            append("Message-ID", " <" + id + ">\n");
        }
        const std::string parent = utf8(text_property(message_, tag::in_reply_to));
        if (!parent.empty()) {
            append("In-Reply-To", header_words(without_controls(parent)));
        }
    }

    void write_importance()
    {
        const std::uint32_t importance = number_property(message_, tag::importance).value_or(1);
        if (importance != 1) {
            append("Importance", importance == 0 ? " low\n" : " high\n");
        }
    }

    IMessage& message_;
    GMimeMessage* document_;
    std::vector<kept_header> kept_;
};

} // namespace

void write_headers(IMessage& message, bool include_bcc, GMimeMessage* document)
{
    header_writer(message, document).write(include_bcc);
}

} // namespace host
