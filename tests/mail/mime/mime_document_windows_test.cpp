#include "mail/mime/writing/message_writer.h"
#include "mail/mime/writing/plain_headers_windows.h"
#include "store/message_object.h"
#include "store/tags.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <wincrypt.h>

namespace host::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::shared_ptr<property_bag> recipient(std::int32_t type, std::wstring_view name, std::wstring_view address)
{
    auto row = std::make_shared<property_bag>();
    row->set(PR_RECIPIENT_TYPE, property_value::of_long(type));
    row->set(PR_DISPLAY_NAME_W, property_value::of_text(name));
    row->set(PR_EMAIL_ADDRESS_W, property_value::of_text(address));
    return row;
}

message_record letter()
{
    message_record result;
    property_bag& properties = *result.properties;
    properties.set(PR_SUBJECT_W, property_value::of_text(L"Crane inspection"));
    properties.set(PR_SENDER_NAME_W, property_value::of_text(L"Ada Byron"));
    properties.set(tag::sender_smtp_address, property_value::of_text(L"ada@example.org"));
    properties.set(PR_INTERNET_MESSAGE_ID_W, property_value::of_text(L"<1@example.org>"));
    properties.set(PR_CLIENT_SUBMIT_TIME, property_value::of_time(132537600000000000)); // 2020-12-30 00:00:00 UTC
    properties.set(PR_BODY_W, property_value::of_text(L"Good day, \u017Barko = me.\r\nBye."));
    result.recipients = {recipient(MAPI_TO, L"Bob", L"bob@example.org"), recipient(MAPI_CC, L"Cy", L"cy@example.org"),
                         recipient(MAPI_BCC, L"", L"secret@example.org")};
    return result;
}

attachment_record file(std::wstring_view name, const std::string& contents)
{
    attachment_record result;
    result.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_BY_VALUE));
    result.properties->set(PR_ATTACH_LONG_FILENAME_W, property_value::of_text(name));
    result.properties->set(PR_ATTACH_DATA_BIN, property_value::of_binary(bytes_of(contents)));
    return result;
}

std::string written(const message_record& record, bool include_bcc = true)
{
    const auto refuse = [](const message_record&) { return HRESULT{MAPI_E_NO_ACCESS}; };
    const auto message = MakeCom<message_object>(record, false, refuse);
    std::string document;
    write_mime(*message, include_bcc, [&document](std::string_view piece) { document.append(piece); });
    return document;
}

/// Returns the decoded text between the blank line after `mark` and the next boundary.
std::string base64_behind(const std::string& document, const std::string& mark)
{
    const std::size_t begin = document.find("\r\n\r\n", document.find(mark)) + 4;
    const std::string text = document.substr(begin, document.find("\r\n--", begin) - begin);
    std::string result(text.size(), '\0');
    auto size = static_cast<DWORD>(result.size());
    EXPECT_NE(0, CryptStringToBinaryA(text.data(), static_cast<DWORD>(text.size()), CRYPT_STRING_BASE64,
                                      reinterpret_cast<BYTE*>(result.data()), &size, nullptr, nullptr));
    result.resize(size);
    return result;
}

TEST(MimeDocuments, BeginWithTheMailsHeaders)
{
    const std::string document = written(letter());
    EXPECT_THAT(document, StartsWith("From: Ada Byron\r\n <ada@example.org>\r\n"
                                     "To: Bob\r\n <bob@example.org>\r\n"
                                     "Cc: Cy\r\n <cy@example.org>\r\n"
                                     "Bcc: secret@example.org\r\n"
                                     "Subject: Crane inspection\r\n"
                                     "Date: Wed, 30 Dec 2020 00:00:00 +0000\r\n"
                                     "Message-ID: <1@example.org>\r\n"
                                     "MIME-Version: 1.0\r\n"
                                     "Content-Type: multipart/mixed; boundary="));
    EXPECT_THAT(written(letter(), false), Not(HasSubstr("Bcc")));
}

TEST(MimeDocuments, HoldBodiesInQuotedPrintableText)
{
    message_record message = letter();
    message.properties->set(PR_HTML, property_value::of_binary(bytes_of("<p>\xE9</p>")));
    message.properties->set(PR_INTERNET_CPID, property_value::of_long(1252));
    const std::string document = written(message);
    EXPECT_THAT(document, HasSubstr("Content-Type: text/plain; charset=utf-8\r\n"
                                    "Content-Transfer-Encoding: quoted-printable\r\n\r\n"
                                    "Good day, =C5=BBarko =3D me.\r\nBye."));
    EXPECT_THAT(document, HasSubstr("Content-Type: text/html; charset=windows-1252\r\n"
                                    "Content-Transfer-Encoding: quoted-printable\r\n\r\n"
                                    "<p>=E9</p>"));
}

TEST(MimeDocuments, HoldFilesInBase64)
{
    std::string contents;
    for (int i = 0; i < 100000; ++i) {
        contents.push_back(static_cast<char>(i * 7));
    }
    message_record message = letter();
    message.attachments.emplace(0, file(L"loads.bin", contents));
    const std::string document = written(message);
    EXPECT_THAT(document, HasSubstr("Content-Disposition: attachment;\r\n filename*=utf-8''loads.bin\r\n"));
    EXPECT_EQ(contents, base64_behind(document, "filename*=utf-8''loads.bin"));
}

TEST(MimeDocuments, HoldMessagesInsideMessages)
{
    message_record outer = letter();
    attachment_record inside;
    inside.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_EMBEDDED_MSG));
    message_record inner = letter();
    inner.properties->set(PR_SUBJECT_W, property_value::of_text(L"The inner one"));
    inner.attachments.emplace(0, file(L"deep.txt", "deep down"));
    inside.embedded = std::make_shared<const message_record>(std::move(inner));
    outer.attachments.emplace(0, inside);
    const std::string document = written(outer);
    EXPECT_THAT(document, HasSubstr("Content-Type: message/rfc822\r\n\r\nFrom: Ada Byron"));
    EXPECT_THAT(document, HasSubstr("Subject: The inner one\r\n"));
    EXPECT_EQ("deep down", base64_behind(document, "filename*=utf-8''deep.txt"));
}

TEST(MimeDocuments, EndWhereMessagesInsideOneAnotherAreTooMany)
{
    message_record message = letter();
    for (int i = 0; i < 40; ++i) {
        message_record outer = letter();
        attachment_record inside;
        inside.properties->set(PR_ATTACH_METHOD, property_value::of_long(ATTACH_EMBEDDED_MSG));
        inside.embedded = std::make_shared<const message_record>(message.copy());
        outer.attachments.emplace(0, inside);
        message = std::move(outer);
    }
    EXPECT_THROW(written(message), std::runtime_error);
}

TEST(MimeHeaders, EncodeWhatIsNotPlain)
{
    EXPECT_EQ("plain", encoded_words(L"plain"));
    EXPECT_EQ("=?utf-8?Q?J=C3=BCrgen?=", encoded_words(L"J\u00FCrgen"));
    EXPECT_EQ("=?utf-8?Q?a=0D=0AX=3A=20y?=", encoded_words(L"a\r\nX: y"));
    EXPECT_THAT(encoded_words(std::wstring(200, L'a')), HasSubstr("?=\r\n =?utf-8?Q?"));
    EXPECT_EQ(";\r\n name*=utf-8''a%20%22b%22%C3%BC.txt", header_parameter("name", "a \"b\"\xC3\xBC.txt"));
}

TEST(MimeHeaders, AreFoldedWhereAParameterIsLong)
{
    EXPECT_EQ(";\r\n name*0*=utf-8''" + std::string(53, 'x') + ";\r\n name*1*=" + std::string(47, 'x'),
              header_parameter("name", std::string(100, 'x')));
    EXPECT_THAT(header_parameter("name", std::string(52, 'x') + "\xC3\xBC"),
                testing::EndsWith("x;\r\n name*1*=%C3%BC"));
}

TEST(MimeHeaders, LetNoNameAddAnAddressAndNoIdentifierALine)
{
    message_record message = letter();
    message.properties->set(PR_SENDER_NAME_W, property_value::of_text(L"Ada, <eve@example.org>"));
    message.properties->set(PR_INTERNET_MESSAGE_ID_W, property_value::of_text(L"<1>\r\nX-Evil: yes"));
    attachment_record picture = file(L"p.png", "png");
    picture.properties->set(PR_ATTACH_CONTENT_ID_W, property_value::of_text(L"\u00FC@x"));
    message.attachments.emplace(0, std::move(picture));
    const std::string document = written(message);
    EXPECT_THAT(document, StartsWith("From: =?utf-8?Q?Ada=2C=20=3Ceve=40example=2E?=\r\n =?utf-8?Q?org=3E?=\r\n"
                                     " <ada@example.org>\r\n"));
    EXPECT_THAT(document, Not(HasSubstr("X-Evil")));
    EXPECT_THAT(document, Not(HasSubstr("Content-ID")));
}

TEST(MimeHeaders, KeepIdentifiersThatFillALine)
{
    message_record message = letter();
    const std::wstring id = L"<" + std::wstring(200, L'i') + L"@example.org>";
    message.properties->set(PR_INTERNET_MESSAGE_ID_W, property_value::of_text(id));
    EXPECT_THAT(written(message), HasSubstr("Message-ID: <" + std::string(200, 'i') + "@example.org>\r\n"));
}

TEST(MimeDocuments, SendAFileOfATypeWithPartsAsPlainBytes)
{
    for (const wchar_t* type : {L"Multipart/mixed", L"MESSAGE/rfc822", L"text/", L"text/a b", L"nonsense"}) {
        message_record message = letter();
        attachment_record part = file(L"a.eml", "Subject: x\r\n\r\n");
        part.properties->set(PR_ATTACH_MIME_TAG_W, property_value::of_text(type));
        message.attachments.emplace(0, std::move(part));
        EXPECT_THAT(written(message), HasSubstr("Content-Type: application/octet-stream\r\n"));
    }
}

TEST(MimeDocuments, NameTheCharacterSetOfTheirHtml)
{
    message_record message = letter();
    message.properties->set(PR_HTML, property_value::of_binary(bytes_of("<p>")));
    for (const auto& [page, charset] :
         {std::pair{20866, "koi8-r"}, {50220, "iso-2022-jp"}, {28591, "iso-8859-1"}, {65001, "utf-8"}}) {
        message.properties->set(PR_INTERNET_CPID, property_value::of_long(page));
        EXPECT_THAT(written(message), HasSubstr("Content-Type: text/html; charset=" + std::string(charset) + "\r\n"));
    }
    message.properties->set(PR_INTERNET_CPID, property_value::of_long(4711));
    EXPECT_THAT(written(message), HasSubstr("Content-Type: text/html\r\n"));
}

TEST(MimeDocuments, HoldHtmlThatIsKeptAsText)
{
    message_record message = letter();
    message.properties->set(tag::body_html, property_value::of_text(L"<p>\u00E9</p>"));
    EXPECT_THAT(written(message), HasSubstr("Content-Type: text/html; charset=utf-8\r\n"
                                            "Content-Transfer-Encoding: quoted-printable\r\n\r\n"
                                            "<p>=C3=A9</p>"));
}

} // namespace
} // namespace host::test
