#include "mail/mime/writing/plain_headers_windows.h"

#include "mail/mime/text/line_limits.h"
#include "mail/mime/writing/message_properties.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "store/tags.h"
#include "tool/system/utf.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

namespace host {

namespace {

constexpr std::string_view fold = "\r\n ";

bool is_plain(std::wstring_view text)
{
    constexpr std::size_t longest = 60;
    return text.size() <= longest && text.find(L"=?") == std::wstring_view::npos &&
           std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L' ' && c <= L'~'; });
}

std::string hex_digits(unsigned char byte)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    return {digits[byte >> 4U], digits[byte & 0xFU]};
}

bool is_word_letter(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

std::string encoded_word(std::string_view piece)
{
    std::string word = "=?utf-8?Q?";
    for (const char c : piece) {
        if (is_word_letter(c)) {
            word.push_back(c);
        } else {
            word += "=" + hex_digits(static_cast<unsigned char>(c));
        }
    }
    return word + "?=";
}

std::string as_encoded_words(std::string_view utf8_text)
{
    constexpr std::size_t bytes_of_word = 18; // each takes up to three letters, a word has up to 75
    std::string result;
    for (std::string_view rest = utf8_text; !rest.empty();) {
        const std::size_t length = winapi::utf::whole_characters(rest, bytes_of_word);
        result += (result.empty() ? "" : std::string(fold)) + encoded_word(rest.substr(0, length));
        rest.remove_prefix(length);
    }
    return result;
}

/// Returns a name that precedes an address; characters with a meaning in address lists are encoded as well.
std::string phrase(const std::wstring& name)
{
    const bool plain = std::all_of(name.begin(), name.end(), [](wchar_t c) {
        return c == L' ' || (c < 0x80 && is_word_letter(static_cast<char>(c)));
    });
    return plain ? encoded_words(name) : as_encoded_words(utf8(name));
}

/// Returns a name and address, or only the name if there is no address.
std::string mailbox_text(const std::wstring& name, std::wstring address)
{
    std::erase_if(address, [](wchar_t c) { return c <= L' ' || c > L'~' || c == L'<' || c == L'>'; });
    address.resize(std::min(address.size(), longest_word));
    if (name.empty() || name == address) {
        return utf8(address);
    }
    return phrase(name) + (address.empty() ? std::string() : std::string(fold) + "<" + utf8(address) + ">");
}

std::string header(std::string_view name, const std::string& value)
{
    return value.empty() ? std::string() : std::string(name) + ": " + value + "\r\n";
}

std::string sender_headers(IMessage& message)
{
    const std::string from = mailbox_text(text_property(message, PR_SENT_REPRESENTING_NAME_W),
                                          text_property(message, tag::representing_address));
    std::wstring address = text_property(message, tag::sender_smtp_address);
    if (address.empty()) {
        address = text_property(message, PR_SENDER_EMAIL_ADDRESS_W);
    }
    const std::string sender = mailbox_text(text_property(message, PR_SENDER_NAME_W), address);
    return header("From", from.empty() ? sender : from) +
           (from.empty() || sender == from ? std::string() : header("Sender", sender));
}

std::string recipient_headers(IMessage& message, bool include_bcc)
{
    ComPtr<IMAPITable> table;
    const HRESULT result = message.GetRecipientTable(0, Receive(table));
    if (FAILED(result) || !table) {
        throw ComError(FAILED(result) ? result : E_FAIL);
    }
    std::array<std::string, 3> lists; // To, Cc, Bcc
    each_row(*table, {PR_RECIPIENT_TYPE, PR_DISPLAY_NAME_W, PR_EMAIL_ADDRESS_W, tag::smtp_address},
             [&lists](const SRow& row) {
                 std::wstring address = text_in(row, tag::smtp_address);
                 if (address.empty()) {
                     address = text_in(row, PR_EMAIL_ADDRESS_W);
                 }
                 const std::uint32_t kind = number_in(row, PR_RECIPIENT_TYPE).value_or(MAPI_TO) & 0x0FU;
                 const std::string who = mailbox_text(text_in(row, PR_DISPLAY_NAME_W), address);
                 if (who.empty() || kind < MAPI_TO || kind > MAPI_BCC) {
                     return;
                 }
                 std::string& list = lists.at(kind - MAPI_TO);
                 list += (list.empty() ? "" : ",\r\n ") + who;
             });
    return header("To", lists[0]) + header("Cc", lists[1]) + (include_bcc ? header("Bcc", lists[2]) : std::string());
}

std::string date_header(IMessage& message)
{
    const auto time = time_property(message, PR_CLIENT_SUBMIT_TIME);
    if (!time) {
        return {};
    }
    const FILETIME file_time{static_cast<DWORD>(*time), static_cast<DWORD>(*time >> 32U)};
    SYSTEMTIME parts{};
    if (FileTimeToSystemTime(&file_time, &parts) == 0) {
        return {};
    }
    constexpr std::array days{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr std::array months{"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::array<char, 64> text{};
    const int length =
        std::snprintf(text.data(), text.size(), "%s, %02d %s %d %02d:%02d:%02d +0000", days.at(parts.wDayOfWeek),
                      parts.wDay, months.at(parts.wMonth - 1U), parts.wYear, parts.wHour, parts.wMinute, parts.wSecond);
    return header("Date", length > 0 ? std::string(text.data()) : std::string());
}

} // namespace

std::string encoded_words(std::wstring_view text)
{
    return is_plain(text) ? utf8(text) : as_encoded_words(utf8(text));
}

std::string header_parameter(std::string_view name, std::string_view utf8_text)
{
    constexpr std::size_t longest_piece = 60;
    std::vector<std::string> pieces{"utf-8''"};
    for (const char c : utf8_text) {
        const bool plain = is_word_letter(c) || c == '.' || c == '-' || c == '_';
        const std::string letter = plain ? std::string(1, c) : "%" + hex_digits(static_cast<unsigned char>(c));
        if (pieces.back().size() + letter.size() > longest_piece) {
            pieces.emplace_back();
        }
        pieces.back() += letter;
    }
    std::string result;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::string number = pieces.size() == 1 ? std::string() : "*" + std::to_string(i);
        result += ";" + std::string(fold) + std::string(name) + number + "*=" + pieces[i];
    }
    return result;
}

bool is_identifier(std::wstring_view text)
{
    return !text.empty() && text.size() <= longest_word && std::all_of(text.begin(), text.end(), [](wchar_t c) {
        return c > L' ' && c <= L'~' && c != L'<' && c != L'>';
    });
}

std::string mail_headers(IMessage& message, bool include_bcc)
{
    const std::wstring told = text_property(message, PR_INTERNET_MESSAGE_ID_W);
    std::wstring_view id = told;
    if (id.starts_with(L'<') && id.ends_with(L'>')) {
        id = id.substr(1, id.size() - 2);
    }
    const std::wstring subject = text_property(message, PR_SUBJECT_W);
    return sender_headers(message) + recipient_headers(message, include_bcc) +
           header("Subject", subject.empty() ? std::string() : encoded_words(subject)) + date_header(message) +
           header("Message-ID", is_identifier(id) ? "<" + utf8(id) + ">" : std::string()) + "MIME-Version: 1.0\r\n";
}

} // namespace host
