// The documents of messages, line by line where it matters.

#include "tests/mail/mime/document_fixture.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// 2026-11-21 09:00:00 UTC in units of 100 ns since 1601.
constexpr std::uint64_t november = 134397252000000000;

message_record with_kept_headers(std::string_view headers)
{
    message_record message = note();
    set_text(message, PR_TRANSPORT_MESSAGE_HEADERS_W, std::wstring(headers.begin(), headers.end()));
    return message;
}

// --- bodies and parts

TEST(mime_document, of_a_plain_note_is_one_part)
{
    EXPECT_EQ(document(note()), "From: Ada <ada@example.org>\r\n"
                                "To: Ben <ben@example.org>\r\n"
                                "Subject: Minutes\r\n"
                                "MIME-Version: 1.0\r\n"
                                "Content-Type: text/plain; charset=utf-8\r\n"
                                "Content-Transfer-Encoding: quoted-printable\r\n"
                                "\r\n"
                                "Text.\r\n");
}

TEST(mime_document, of_a_message_without_anything_is_an_empty_text)
{
    EXPECT_EQ(document(message_record()), "MIME-Version: 1.0\r\n"
                                          "Content-Type: text/plain; charset=utf-8\r\n"
                                          "Content-Transfer-Encoding: quoted-printable\r\n"
                                          "\r\n");
}

TEST(mime_document, tells_the_charset_of_its_html)
{
    message_record message = note();
    message.properties->erase(PROP_ID(PR_BODY_W));
    set_binary(message, PR_HTML, "<p>\xE4</p>");
    const auto type_for = [&message](std::int64_t page) {
        message.properties->set(PR_INTERNET_CPID, property_value::of_long(page));
        const std::string head = head_of(document(message));
        const std::size_t start = head.find("Content-Type: ");
        return head.substr(start, head.find("\r\n", start) - start);
    };
    EXPECT_EQ(type_for(28591), "Content-Type: text/html; charset=iso-8859-1");
    EXPECT_EQ(type_for(1251), "Content-Type: text/html; charset=windows-1251");
    EXPECT_EQ(type_for(65001), "Content-Type: text/html; charset=utf-8");
    EXPECT_EQ(type_for(20127), "Content-Type: text/html") << "the HTML may say more than that";
    EXPECT_EQ(type_for(4711), "Content-Type: text/html");
    EXPECT_THAT(document(message), HasSubstr("\r\n\r\n<p>=E4</p>=\r\n"));
}

TEST(mime_document, has_html_that_is_kept_as_text_in_utf_8)
{
    message_record message = note();
    message.properties->set(tag::body_html, property_value::of_text(L"<p>\u00E4</p>"));
    EXPECT_THAT(document(message), HasSubstr("text/html; charset=utf-8\r\n"));
    EXPECT_THAT(document(message), HasSubstr("<p>=C3=A4</p>"));
    EXPECT_EQ(wide(read_saved(saved_document(message)), tag::body_html), L"<p>\u00E4</p>");
}

TEST(mime_document, holds_long_bodies_that_only_open_as_streams)
{
    const std::wstring line = L"\u00DCbersicht\r\n";
    std::wstring body;
    while (body.size() < 300000) {
        body += line;
    }
    const std::string text = document(note(L"Long", body));
    EXPECT_EQ(count_of(text, "=C3=9Cbersicht\r\n"), body.size() / line.size());
    EXPECT_EQ(wide(read_saved(text, written_by::anyone), PR_BODY_W), body);
}

TEST(mime_document, sends_a_file_of_a_type_with_parts_as_plain_bytes)
{
    for (const wchar_t* type :
         {L"message/rfc822", L"Multipart/mixed", L"nonsense", L"a/b/c", L"text/\r\nX-Evil: 1", L""}) {
        message_record message = note();
        attachment_record file = file_attachment(L"inner.eml", "Subject: x\r\n\r\n");
        file.properties->set(PR_ATTACH_MIME_TAG_W, property_value::of_text(type));
        message.attachments.emplace(0, std::move(file));
        const std::string text = document(message);
        EXPECT_THAT(text, HasSubstr("Content-Type: application/octet-stream; name=inner.eml\r\n"));
        EXPECT_THAT(text, HasSubstr("U3ViamVjdDogeA0KDQo="));
        EXPECT_THAT(text, Not(HasSubstr("X-Evil")));
    }
}

TEST(mime_document, names_files_plainly_or_as_rfc_2231_has_it)
{
    message_record message = note();
    message.attachments.emplace(0, file_attachment(L"plain name.pdf", "1"));
    message.attachments.emplace(1, file_attachment(L"\u00DCbersicht \"x\".pdf", "2"));
    message.attachments.emplace(2, file_attachment(L"line\r\nX-Evil: yes.pdf", "3"));
    const std::string text = document(message);
    EXPECT_THAT(text, HasSubstr("Content-Disposition: attachment; filename=\"plain name.pdf\"\r\n"));
    EXPECT_THAT(text, HasSubstr("filename*=UTF-8''%C3%9Cbersicht%20%22x%22.pdf"));
    EXPECT_THAT(text, HasSubstr("line  X-Evil: yes.pdf"));
    EXPECT_THAT(text, Not(HasSubstr("\nX-Evil")));
}

TEST(mime_document, takes_the_best_name_that_an_attachment_has)
{
    attachment_record file = file_attachment(L"long name.txt", "1");
    file.properties->set(PR_ATTACH_FILENAME_W, property_value::of_text(L"SHORT.TXT"));
    file.properties->set(PR_DISPLAY_NAME_W, property_value::of_text(L"shown.txt"));
    const auto name_of = [&file] {
        message_record message = note();
        message.attachments.emplace(0, file.copy());
        return read_saved(document(message), written_by::anyone).attachments.at(0).properties;
    };
    EXPECT_EQ(wide(*name_of(), PR_ATTACH_LONG_FILENAME_W), L"long name.txt");
    file.properties->erase(PROP_ID(PR_ATTACH_LONG_FILENAME_W));
    EXPECT_EQ(wide(*name_of(), PR_ATTACH_LONG_FILENAME_W), L"SHORT.TXT");
    file.properties->erase(PROP_ID(PR_ATTACH_FILENAME_W));
    EXPECT_EQ(wide(*name_of(), PR_ATTACH_LONG_FILENAME_W), L"shown.txt");
    file.properties->erase(PROP_ID(PR_DISPLAY_NAME_W));
    EXPECT_EQ(wide(*name_of(), PR_ATTACH_LONG_FILENAME_W), L"(none)");
}

TEST(mime_document, has_an_empty_part_for_what_holds_nothing)
{
    for (const std::int64_t method : {0, 1, 2, 5, 6}) {
        message_record message = note();
        attachment_record empty;
        empty.properties->set(PR_ATTACH_METHOD, property_value::of_long(method));
        message.attachments.emplace(3, std::move(empty));
        const message_record again = read_saved(document(message), written_by::anyone);
        ASSERT_EQ(again.attachments.size(), 1U) << method;
        EXPECT_EQ(again.attachments.at(0).size(), 0U) << method;
        EXPECT_EQ(again.attachments.at(0).embedded, nullptr) << method;
    }
}

attachment_record image(std::wstring_view id, bool hidden)
{
    attachment_record result = file_attachment(L"picture.png", "png");
    result.properties->set(PR_ATTACH_CONTENT_ID_W, property_value::of_text(id));
    result.properties->set(PR_ATTACH_MIME_TAG_W, property_value::of_text(L"image/png"));
    result.properties->set(PR_ATTACHMENT_HIDDEN, property_value::of_bool(hidden));
    return result;
}

TEST(mime_document, keeps_hidden_images_beside_the_html_and_files_behind_it)
{
    message_record message = note();
    set_binary(message, PR_HTML, "<img src=\"cid:a@b\">");
    message.attachments.emplace(0, file_attachment(L"file.bin", "f"));
    message.attachments.emplace(1, image(L"a@b", true));
    message.attachments.emplace(2, image(L"c@d", false));
    const std::string text = document(message);
    const auto at = [&text](const char* piece) {
        EXPECT_EQ(count_of(text, piece), 1U) << piece;
        return text.find(piece);
    };
    EXPECT_LT(at("multipart/mixed;"), at("multipart/related;"));
    EXPECT_THAT(text, HasSubstr("type=\"multipart/alternative\""));
    EXPECT_LT(text.find("multipart/related;"), text.find("Content-Type: multipart/alternative;"));
    EXPECT_LT(at("Content-Type: text/plain"), at("Content-Type: text/html"));
    EXPECT_LT(text.find("Content-Type: text/html"), at("Content-Id: <a@b>"));
    EXPECT_LT(at("inline; filename=picture.png"), at("filename=file.bin"));
    EXPECT_LT(text.find("filename=file.bin"), at("Content-Id: <c@d>"));
}

TEST(mime_document, without_html_has_hidden_images_among_its_files)
{
    message_record message = note();
    message.attachments.emplace(0, image(L"a@b", true));
    EXPECT_THAT(document(message), Not(HasSubstr("multipart/related")));
    EXPECT_THAT(document(message), HasSubstr("attachment; filename=picture.png"));
}

TEST(mime_document, leaves_out_an_identifier_that_would_end_its_line)
{
    message_record message = note();
    set_binary(message, PR_HTML, "<p>");
    for (const wchar_t* id : {L"a\r\nX-Evil: 1", L"a b", L"a>b", L"\u00E4@b"}) {
        message.attachments.insert_or_assign(0, image(id, true));
        EXPECT_THAT(document(message), Not(HasSubstr("X-Evil")));
        EXPECT_THAT(document(message), Not(HasSubstr("Content-Id")));
    }
}

TEST(mime_document, puts_messages_inside_messages)
{
    message_record inner = note(L"\u00C4ltere", L"Inner text.\r\n");
    inner.attachments.emplace(0, file_attachment(L"deep.bin", "deep"));
    message_record message = note(L"Outer");
    message.attachments.emplace(0, message_attachment(std::move(inner)));
    const std::string text = document(message);
    EXPECT_THAT(text, HasSubstr("Content-Type: message/rfc822\r\n"));
    EXPECT_THAT(text, HasSubstr("Subject: =?utf-8?B?w4RsdGVyZQ==?=\r\n"));
    EXPECT_THAT(text, HasSubstr("\r\n\r\nInner text.\r\n"));
    EXPECT_THAT(text, HasSubstr("ZGVlcA=="));
    EXPECT_EQ(count_of(text, "MIME-Version: 1.0"), 2U);
    const message_record again = read_saved(text, written_by::anyone);
    ASSERT_NE(again.attachments.at(0).embedded, nullptr);
    EXPECT_EQ(wide(*again.attachments.at(0).embedded, PR_BODY_W), L"Inner text.\r\n");
}

message_record nested(int depth)
{
    message_record message = note(L"Level " + std::to_wstring(depth));
    if (depth > 1) {
        message.attachments.emplace(0, message_attachment(nested(depth - 1)));
    }
    return message;
}

TEST(mime_document, holds_as_many_messages_inside_one_another_as_are_read_again)
{
    const message_record deepest = nested(deepest_embedded);
    EXPECT_EQ(snapshot_text(read_saved(saved_document(deepest))), snapshot_text(deepest));
    EXPECT_THROW(document(nested(deepest_embedded + 1)), std::runtime_error);
}

TEST(mime_document, of_an_invitation_is_one)
{
    const auto invitation = [](std::wstring_view message_class) {
        message_record message = note();
        set_text(message, PR_MESSAGE_CLASS_W, message_class);
        attachment_record calendar = file_attachment(L"", "BEGIN:VCALENDAR\r\nMETHOD:X\r\nEND:VCALENDAR\r\n");
        calendar.properties->erase(PROP_ID(PR_ATTACH_LONG_FILENAME_W));
        calendar.properties->set(PR_ATTACH_MIME_TAG_W, property_value::of_text(L"text/calendar"));
        message.attachments.emplace(0, std::move(calendar));
        return message;
    };
    for (const auto& [message_class, method] : {std::pair{L"IPM.Schedule.Meeting.Request", "REQUEST"},
                                                {L"IPM.Schedule.Meeting.Canceled", "CANCEL"},
                                                {L"IPM.Schedule.Meeting.Resp.Pos", "REPLY"}}) {
        const std::string text = document(invitation(message_class));
        EXPECT_THAT(text, HasSubstr(std::string("method=") + method));
        EXPECT_THAT(text, HasSubstr("Content-Type: multipart/alternative"));
        EXPECT_EQ(wide(read_saved(text, written_by::anyone), PR_MESSAGE_CLASS_W), message_class);
    }
    const std::string ordinary = document(invitation(L"IPM.Note"));
    EXPECT_THAT(ordinary, HasSubstr("Content-Disposition: attachment"));
    EXPECT_EQ(wide(read_saved(ordinary, written_by::anyone), PR_MESSAGE_CLASS_W), L"IPM.Note");
}

TEST(mime_document, of_an_envelope_stays_one)
{
    const std::string mail = "From: a@b\nSubject: Secret\nMIME-Version: 1.0\n"
                             "Content-Type: application/pkcs7-mime; smime-type=enveloped-data; name=smime.p7m\n"
                             "Content-Transfer-Encoding: base64\n\nAAEC\n";
    const message_record message = read(mail);
    const std::string text = document(message);
    EXPECT_THAT(head_of(text), HasSubstr("application/pkcs7-mime; smime-type=enveloped-data"));
    EXPECT_THAT(text, HasSubstr("\r\n\r\nAAEC\r\n"));
    EXPECT_THAT(text, Not(HasSubstr("multipart")));
    EXPECT_EQ(snapshot_text(read_saved(saved_document(message))), snapshot_text(message));

    message_record opened = message.copy(); // in the form in which disinfection leaves it
    set_text(opened, PR_MESSAGE_CLASS_W, L"IPM.Note");
    set_binary(opened, PR_HTML, "<p>notice</p>");
    EXPECT_THAT(head_of(document(opened)), HasSubstr("multipart/mixed"));
    EXPECT_EQ(snapshot_text(read_saved(saved_document(opened))), snapshot_text(opened));
}

// --- headers

TEST(mime_document, has_bcc_recipients_when_asked)
{
    message_record message = note();
    add_recipient(message, MAPI_CC, L"Cleo", L"cleo@example.org");
    add_recipient(message, MAPI_BCC, L"Dan", L"dan@example.org");
    EXPECT_THAT(document(message, true), HasSubstr("Cc: Cleo <cleo@example.org>\r\nBcc: Dan <dan@example.org>\r\n"));
    const std::string without = document(message, false);
    EXPECT_THAT(without, HasSubstr("Cc: Cleo"));
    EXPECT_THAT(without, Not(HasSubstr("dan@example.org")));
}

TEST(mime_document, takes_recipients_from_the_table_and_not_from_the_old_headers)
{
    message_record message = with_kept_headers("To: old@example.org\nCc: gone@example.org\nBcc: secret@example.org\n");
    const std::string text = document(message);
    EXPECT_THAT(text, HasSubstr("To: Ben <ben@example.org>\r\n"));
    EXPECT_THAT(text, Not(HasSubstr("old@example.org")));
    EXPECT_THAT(text, HasSubstr("Cc: gone@example.org\r\n")) << "the table has nobody there";
    EXPECT_THAT(text, Not(HasSubstr("secret@example.org")));
}

TEST(mime_document, keeps_the_list_of_nobody)
{
    const message_record message = read("From: a@b\nTo: undisclosed-recipients:;\nSubject: x\n\ntext\n");
    EXPECT_THAT(document(message), HasSubstr("To: undisclosed-recipients:;\r\n"));
}

TEST(mime_document, names_whoever_sent_it_for_somebody_else)
{
    message_record message = note();
    set_text(message, PR_SENT_REPRESENTING_NAME_W, L"The Board");
    set_text(message, tag::representing_address, L"board@example.org");
    const std::string text = document(message);
    EXPECT_THAT(text, HasSubstr("From: The Board <board@example.org>\r\n"));
    EXPECT_THAT(text, HasSubstr("Sender: Ada <ada@example.org>\r\n"));
}

TEST(mime_document, prefers_the_address_that_mail_can_use)
{
    message_record message = note();
    message.recipients.clear();
    add_recipient(message, MAPI_TO, L"Ben", L"/O=EXAMPLE/CN=BEN");
    const auto recipient = std::make_shared<property_bag>(*message.recipients[0]);
    recipient->set(tag::smtp_address, property_value::of_text(L"ben@example.org"));
    message.recipients[0] = recipient;
    set_text(message, PR_SENDER_EMAIL_ADDRESS_W, L"/O=EXAMPLE/CN=ADA");
    set_text(message, tag::sender_smtp_address, L"ada@example.org");
    EXPECT_THAT(document(message), HasSubstr("To: Ben <ben@example.org>\r\n"));
    EXPECT_THAT(document(message), HasSubstr("From: Ada <ada@example.org>\r\n"));
}

TEST(mime_document, lets_no_property_add_a_header)
{
    message_record message = note(L"a\r\nX-Evil: subject", L"");
    set_text(message, PR_SENDER_NAME_W, L"Ada\r\nX-Evil: name");
    set_text(message, PR_SENDER_EMAIL_ADDRESS_W, L"ada@example.org>\r\nX-Evil: address");
    set_text(message, PR_INTERNET_MESSAGE_ID_W, L"<id>\r\nX-Evil: id");
    set_text(message, tag::in_reply_to, L"<id>\r\nX-Evil: parent");
    set_text(message, PR_TRANSPORT_MESSAGE_HEADERS_W, L"X-Kept: one\r\n two\r\n\r\nX-Behind: the empty line\r\n");
    add_recipient(message, MAPI_CC, L"Cleo\nX-Evil: cc", L"cleo@example.org\nX-Evil: cc");
    for (const std::string& text : {document(message), saved_document(message)}) {
        EXPECT_THAT(text, Not(HasSubstr("\nX-Evil")));
        EXPECT_EQ(wide(read_saved(text, written_by::anyone), PR_SUBJECT_W), L"a\r\nX-Evil: subject");
    }
}

TEST(mime_document, encodes_subjects_so_that_they_read_back)
{
    for (const wchar_t* subject :
         {L"plain", L"", L"two  blanks", L" blank in front", L"blank behind ", L"=?utf-8?q?not=20encoded?=",
          L"\u00DCber", L"\u4F60\u597D \U0001F600", L"tab\there", L"a:b;c,d<e>(f)\"g\"\\"}) {
        const message_record again = read_saved(document(note(subject)), written_by::anyone);
        EXPECT_EQ(wide(again, PR_SUBJECT_W), *subject ? subject : L"(none)");
    }
    for (const std::wstring& subject :
         {std::wstring(5000, L'x'), std::wstring(2000, L'\u00FC'), std::wstring(700, L'\U0001F600'),
          L'a' + std::wstring(500, L'\u4E00'), std::wstring(40, L'\u4E00') + L'b' + std::wstring(40, L'\U0001F600')}) {
        EXPECT_EQ(wide(read_saved(document(note(subject)), written_by::anyone), PR_SUBJECT_W), subject);
    }
    std::wstring words;
    for (int i = 0; i < 300; ++i) {
        words += (i == 0 ? L"" : L" ") + std::to_wstring(i);
    }
    EXPECT_EQ(wide(read_saved(document(note(words)), written_by::anyone), PR_SUBJECT_W), words);
}

TEST(mime_document, pads_no_encoded_word_but_the_last)
{
    for (const std::wstring& subject : {std::wstring(100, L'\u00FC'), L'a' + std::wstring(100, L'\u4E00'),
                                        L"ab" + std::wstring(100, L'\U0001F600')}) {
        const std::string text = document(note(subject));
        EXPECT_THAT(text, Not(HasSubstr("=?=\r\n =?")));
        EXPECT_THAT(text, HasSubstr("?=\r\n =?utf-8?B?"));
    }
}

TEST(mime_document, encodes_long_names_so_that_they_read_back)
{
    message_record message = note();
    const std::wstring name = std::wstring(90, L'\u00FC') + L", Inc. \"x\" " + std::wstring(30, L'\u4E00');
    set_text(message, PR_SENDER_NAME_W, name);
    EXPECT_EQ(wide(read_saved(document(message), written_by::anyone), PR_SENDER_NAME_W), name);
}

/// Checks the properties of every document: lines of ASCII within the length that mail allows.
void expect_lines_of_mail(const std::string& text)
{
    for (const char c : text) {
        ASSERT_TRUE((c >= ' ' && c <= '~') || c == '\t' || c == '\r' || c == '\n') << text.substr(0, 2000);
    }
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find("\r\n", start);
        ASSERT_NE(end, std::string::npos);
        ASSERT_LE(end - start, 998U) << text.substr(start, 100);
        start = end + 2;
    }
}

TEST(mime_document, has_lines_of_mail_whatever_the_properties_say)
{
    std::wstring words;
    for (int i = 0; i < 2000; ++i) {
        words += L"Ash, ";
    }
    for (const std::wstring& text :
         {std::wstring(3000, L'x'), std::wstring(3000, L'\u00FC'), words, std::wstring(3000, L'"'),
          std::wstring(3000, L'('), std::wstring(1500, L'x') + L'\u00FC' + std::wstring(1500, L'x'),
          L"a/" + std::wstring(2000, L'b')}) {
        message_record message = note(text);
        set_binary(message, PR_HTML, "<p>");
        for (const std::uint32_t tag :
             {std::uint32_t{PR_SENDER_NAME_W}, std::uint32_t{PR_SENDER_EMAIL_ADDRESS_W}, tag::representing_address,
              std::uint32_t{PR_SENT_REPRESENTING_NAME_W}, std::uint32_t{PR_INTERNET_MESSAGE_ID_W}, tag::in_reply_to,
              std::uint32_t{PR_TRANSPORT_MESSAGE_HEADERS_W}}) {
            set_text(message, tag, text);
        }
        add_recipient(message, MAPI_CC, text, text);
        add_recipient(message, MAPI_BCC, L"", text);
        attachment_record file = file_attachment(text, "f");
        file.properties->set(PR_ATTACH_MIME_TAG_W, property_value::of_text(text));
        file.properties->set(PR_ATTACH_CONTENT_ID_W, property_value::of_text(text));
        file.properties->set(PR_ATTACHMENT_HIDDEN, property_value::of_bool(true));
        message.attachments.emplace(0, std::move(file));
        ASSERT_NO_FATAL_FAILURE(expect_lines_of_mail(document(message)));
        ASSERT_NO_FATAL_FAILURE(expect_lines_of_mail(saved_document(message)));
    }
}

TEST(mime_document, has_lines_of_mail_whatever_the_kept_headers_say)
{
    const std::wstring name(2000, L'n');
    const std::wstring word(899, L'w');
    const std::wstring headers = name + L": a\n" + name.substr(0, 90) + L": " + word + L"\n" + name.substr(0, 91) +
                                 L": " + word + L"\nX-Wide: \u00FC" + word + L"\nX-Bare:\n";
    message_record message = note();
    set_text(message, PR_TRANSPORT_MESSAGE_HEADERS_W, headers);
    ASSERT_NO_FATAL_FAILURE(expect_lines_of_mail(document(message)));
    EXPECT_EQ(count_of(document(message), std::string(90, 'n') + ": " + std::string(899, 'w') + "\r\n"), 1U);
}

TEST(mime_document, of_an_envelope_keeps_the_kind_and_no_other_word_of_its_type)
{
    const message_record message = read("Subject: x\nContent-Type: application/X-PKCS7-mime; smime-type=signed-data; " +
                                        std::string(2000, 'p') + "=1\n\nx\n");
    const std::string text = document(message);
    ASSERT_NO_FATAL_FAILURE(expect_lines_of_mail(text));
    EXPECT_THAT(head_of(text), HasSubstr("Content-Type: application/X-PKCS7-mime; smime-type=signed-data\r\n"));
}

TEST(mime_document, names_an_address_that_is_not_ascii_as_far_as_mail_can)
{
    message_record message = note();
    set_text(message, PR_SENDER_EMAIL_ADDRESS_W, L"ad\u00E4@b\u00FCro.example");
    EXPECT_THAT(document(message), HasSubstr("From: Ada <ad@xn--bro-hoa.example>\r\n"));
}

TEST(mime_document, names_all_of_very_many_recipients)
{
    message_record message = note();
    for (int i = 0; i < 20000; ++i) {
        add_recipient(message, MAPI_TO, L"Somebody", L"somebody@example.org");
    }
    EXPECT_EQ(count_of(document(message), "<somebody@example.org>"), 20000U);
}

TEST(mime_document, keeps_the_headers_that_the_message_came_with)
{
    const message_record message =
        with_kept_headers("Received: from a\n\tby b; Sat, 21 Nov 2026 09:00:00 +0000\nReceived: from c\n"
                          "X-Mailer: Desk 7\nSubject: old\nFrom: old@example.org\nMIME-Version: 1.0\n"
                          "Content-Type: text/html\nDate: nonsense\n");
    const std::string head = head_of(document(message));
    EXPECT_THAT(head, testing::StartsWith("Received: from a\r\n\tby b; Sat, 21 Nov 2026 09:00:00 +0000\r\n"
                                          "Received: from c\r\nX-Mailer: Desk 7\r\nFrom: Ada"));
    EXPECT_THAT(head, Not(HasSubstr("old")));
    EXPECT_EQ(count_of(head, "Content-Type"), 1U);
    EXPECT_EQ(count_of(head, "MIME-Version"), 1U);
    EXPECT_THAT(head, HasSubstr("Date: nonsense\r\n")) << "no property knows better";
}

TEST(mime_document, encodes_kept_headers_that_no_header_may_be)
{
    message_record message = note();
    set_text(message, PR_TRANSPORT_MESSAGE_HEADERS_W,
             L"X-Raw: gr\u00FCn\nX-Long: " + std::wstring(2000, L'x') + L"\nX-Null: a" + std::wstring(1, L'\0') +
                 L"b\n-X: odd name\n--=_part_1_:\nno header at all\n: no name\n");
    const std::string text = document(message);
    EXPECT_THAT(text, HasSubstr("X-Raw: =?utf-8?B?Z3LDvG4=?=\r\n"));
    EXPECT_THAT(text, Not(HasSubstr("odd name")));
    EXPECT_THAT(text, Not(HasSubstr("--=_part")));
    EXPECT_THAT(text, Not(HasSubstr("no header")));
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find("\r\n", start);
        EXPECT_LE(end - start, 998U);
        start = end + 2;
    }
}

TEST(mime_document, tells_the_time_of_sending_as_the_mail_did)
{
    message_record message = with_kept_headers("Date: Sat, 21 Nov 2026 10:00:00 +0100\n");
    message.properties->set(PR_CLIENT_SUBMIT_TIME, property_value::of_time(november));
    EXPECT_THAT(document(message), HasSubstr("Date: Sat, 21 Nov 2026 10:00:00 +0100\r\n"));
    message.properties->set(PR_CLIENT_SUBMIT_TIME, property_value::of_time(november + 600000000));
    EXPECT_THAT(document(message), HasSubstr("Date: Sat, 21 Nov 2026 09:01:00 +0000\r\n"))
        << "the property knows better";
    message_record fresh = note();
    fresh.properties->set(PR_CLIENT_SUBMIT_TIME, property_value::of_time(november));
    EXPECT_THAT(document(fresh), HasSubstr("Date: Sat, 21 Nov 2026 09:00:00 +0000\r\n"));
    for (const std::uint64_t time : {0x7FFFFFFFFFFFFFFFU, 0x8000000000000000U, 0xFFFFFFFFFFFFFFFFU}) {
        fresh.properties->set(PR_CLIENT_SUBMIT_TIME, property_value::of_time(time));
        EXPECT_THAT(document(fresh), Not(HasSubstr("Date:"))) << "a time that no calendar has";
    }
    fresh.properties->set(PR_CLIENT_SUBMIT_TIME, property_value::of_time(0));
    EXPECT_THAT(document(fresh), HasSubstr("Date: Mon, 01 Jan 1601 00:00:00 +0000\r\n"));
}

TEST(mime_document, tells_identifiers_and_importance)
{
    message_record message = note();
    set_text(message, PR_INTERNET_MESSAGE_ID_W, L"<id@example.org>");
    set_text(message, tag::in_reply_to, L"<parent@example.org>");
    message.properties->set(tag::importance, property_value::of_long(2));
    const std::string text = document(message);
    EXPECT_THAT(text, HasSubstr("Message-ID: <id@example.org>\r\n"));
    EXPECT_THAT(text, HasSubstr("In-Reply-To: <parent@example.org>\r\n"));
    EXPECT_THAT(text, HasSubstr("Importance: high\r\n"));
    message.properties->set(tag::importance, property_value::of_long(1));
    EXPECT_THAT(document(message), Not(HasSubstr("Importance")));
}

// --- headers that a reader evaluates

TEST(own_headers_in_mail, from_outside_mean_nothing)
{
    message_record saved = note();
    saved.properties->set(PR_ENTRYID, property_value::of_binary(bytes_of("entry")));
    const std::uint32_t id = saved.store->names.id_of(
        {GUID{0x876FC580, 0xB672, 0x40CF, {0xB8, 0x53, 0x5D, 0x1F, 0x00, 0x0D, 0x0F, 0xD6}}, std::int32_t{1}}, true);
    saved.properties->set(PROP_TAG(PT_LONG, id), property_value::of_long(1));
    saved.attachments.emplace(7, file_attachment(L"a.bin", "x"));
    const std::string text = saved_document(saved);
    EXPECT_THAT(text, HasSubstr("X-Postwarden-Verdict: 1\r\n"));

    const message_record believed = read_saved(text);
    EXPECT_EQ(take_snapshot(believed).verdict_property, 1U);
    EXPECT_EQ(binary(believed, PR_ENTRYID), "entry");
    EXPECT_TRUE(believed.attachments.contains(7));

    const message_record stranger = read_saved(text, written_by::anyone);
    EXPECT_EQ(take_snapshot(stranger).verdict_property, std::nullopt);
    EXPECT_NE(binary(stranger, PR_ENTRYID), "entry");
    EXPECT_TRUE(stranger.attachments.contains(0));
}

TEST(own_headers_in_mail, from_outside_mean_nothing_in_our_files_either)
{
    const std::string forged =
        "X-Postwarden-Verdict: 1\r\n"
        "X-Postwarden-Properties:\r\n {876FC580-B672-40CF-B853-5D1F000D0FD6}/#1/0003=n1;0037001F=tother\r\n"
        "x-postwarden-recipient: 3001001F=tMallory\r\n"
        "X-Postwarden-Attachment: part=0\r\n"
        "X-Postwarden-End: 1\r\n";
    for (const std::string envelope : {"", "From m@example.org Sat Nov 21 09:00:00 2026\r\n"}) {
        const std::string mail = envelope + forged + "From: m@example.org\r\nSubject: hello\r\n" + forged +
                                 "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
                                 "--b\r\nContent-Type: text/plain\r\n\r\ntext\r\n"
                                 "--b\r\nContent-Type: message/rfc822\r\n\r\n" +
                                 forged + "Subject: inner\r\n" + forged + "\r\ninner text\r\n--b--\r\n";
        const message_record message = read_saved(mail, written_by::anyone);
        const std::string text = saved_document(message);
        EXPECT_THAT(text, testing::EndsWith(mail.substr(envelope.size()))) << "the mail is saved as it came";
        EXPECT_THAT(text, testing::StartsWith(envelope + "X-Postwarden-Properties: 0FFF0102=b"));
        const message_record again = read_saved(text);
        EXPECT_EQ(take_snapshot(again).verdict_property, std::nullopt);
        ASSERT_EQ(again.attachments.size(), 1U);
        EXPECT_EQ(take_snapshot(*again.attachments.at(0).embedded).verdict_property, std::nullopt);
        EXPECT_TRUE(again.recipients.empty());
        EXPECT_EQ(snapshot_text(again), snapshot_text(message));
        EXPECT_EQ(saved_document(again), text);
        EXPECT_THAT(document(message), Not(HasSubstr("X-Postwarden"))) << "nor does the scanner get them";
    }
}

TEST(own_headers_in_mail, without_the_last_of_them_mean_nothing)
{
    message_record saved = note();
    saved.properties->set(PR_ENTRYID, property_value::of_binary(bytes_of("entry")));
    std::string text = saved_document(saved);
    const std::size_t at = text.find("X-Postwarden-End: 1\r\n");
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(binary(read_saved(text), PR_ENTRYID), "entry");
    EXPECT_NE(binary(read_saved("X-Other: 1\r\n" + text), PR_ENTRYID), "entry") << "another header precedes them";
    EXPECT_NE(binary(read_saved(std::string(text).insert(at, "X-Other: 1\r\n")), PR_ENTRYID), "entry");
    EXPECT_NE(binary(read_saved(text.erase(at, 21)), PR_ENTRYID), "entry");
}

TEST(own_headers_in_mail, that_are_missing_leave_what_the_mail_tells)
{
    const message_record message = read_message(bytes_of("Subject: plain\r\n\r\ntext\r\n"), "x",
                                                std::make_shared<store_context>(), written_by::this_program);
    EXPECT_EQ(wide(message, PR_SUBJECT_W), L"plain");
    EXPECT_NE(message.properties->find(PROP_ID(PR_ENTRYID)), nullptr);
}

TEST(own_headers_in_mail, that_give_a_number_twice_lose_no_attachment)
{
    message_record message = note();
    message.attachments.emplace(4, file_attachment(L"a", "a"));
    message.attachments.emplace(9, file_attachment(L"b", "b"));
    std::string text = saved_document(message);
    const std::size_t at = text.find("number=9");
    ASSERT_NE(at, std::string::npos);
    text[at + 7] = '4';
    const message_record again = read_saved(text);
    ASSERT_EQ(again.attachments.size(), 2U);
    EXPECT_EQ(binary(*again.attachments.at(4).properties, PR_ATTACH_DATA_BIN), "a");
    EXPECT_EQ(binary(*again.attachments.at(5).properties, PR_ATTACH_DATA_BIN), "b");
}

TEST(own_headers_in_mail, that_give_the_last_number_twice_lose_no_attachment)
{
    message_record message = note();
    for (const std::uint32_t number : {0U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
        message.attachments.emplace(number, file_attachment(L"a", std::to_string(number)));
    }
    std::string text = saved_document(message);
    text.replace(text.find("number=4294967294"), 17, "number=4294967295");
    const message_record again = read_saved(text);
    ASSERT_EQ(again.attachments.size(), 3U);
    EXPECT_EQ(binary(*again.attachments.at(0xFFFFFFFFU).properties, PR_ATTACH_DATA_BIN), "4294967294");
    EXPECT_EQ(binary(*again.attachments.at(1).properties, PR_ATTACH_DATA_BIN), "4294967295");
}

} // namespace
} // namespace host::test
