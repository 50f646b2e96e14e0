#include "tests/tool/icap_client/joined.h"
#include "tests/tool/icap_client/parsed_http.h"
#include "tests/tool/icap_client/string_data.h"
#include "tool/icap_client/request_templates.h"
#include "tool/system/base64.h"
#include "tool/system/conversions.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace request_templates_test {

using namespace icap::client;
using namespace std::string_literals;

const std::string host = "127.0.0.1";
const std::string target = "icap://127.0.0.1:1344/webscan";

scan_mail mail_of(const std::string& body)
{
    scan_mail mail;
    mail.user_name = "S-1-5-21";
    mail.session_id = 3;
    mail.process_name = "OUTLOOK.EXE";
    mail.process_id = 4711;
    mail.subject = "Hello";
    mail.tag = "abc";
    mail.mime_type = "text/plain";
    mail.attach_name = "report.pdf";
    mail.type = content_type::attachment;
    mail.data = std::make_shared<test::string_data>(body);
    return mail;
}

TEST(FillPlaceholder, ReplacesTheFirstOccurrenceOnly)
{
    std::string text = "a %X% b %X%";
    fill_placeholder(text, "%X%", "1");
    EXPECT_EQ(text, "a 1 b %X%");
}

TEST(FillPlaceholder, LeavesATextWithoutThePlaceholderAlone)
{
    std::string text = "a %Y% b";
    fill_placeholder(text, "%X%", "1");
    EXPECT_EQ(text, "a %Y% b");
}

TEST(FillPlaceholder, TakesAnEmptyValue)
{
    std::string text = "a %X% b";
    fill_placeholder(text, "%X%", "");
    EXPECT_EQ(text, "a  b");
}

TEST(FillPlaceholder, FindsAPlaceholderThatAnEarlierValueBroughtIn)
{
    std::string text = "%A% %B%";
    fill_placeholder(text, "%A%", "<%B%>");
    fill_placeholder(text, "%B%", "b");
    EXPECT_EQ(text, "<b> %B%");
}

TEST(FillPlaceholder, DoesNotFillItsOwnValueAgain)
{
    std::string text = "%A%";
    fill_placeholder(text, "%A%", "%A%%A%");
    EXPECT_EQ(text, "%A%%A%");
}

TEST(Target, IsMadeOfAddressPortAndPath)
{
    EXPECT_EQ(make_target(L"127.0.0.1", 1344, L"/webscan"), L"icap://127.0.0.1:1344/webscan");
}

TEST(OptionsRequest, StandsToTheByte)
{
    EXPECT_EQ(build_options_request(host, target), "OPTIONS icap://127.0.0.1:1344/webscan ICAP/1.0\r\n"
                                                   "Host: 127.0.0.1\r\n"
                                                   "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                                                   "Encapsulated: null-body=0\r\n\r\n");
}

TEST(MailRequest, StandsToTheByte)
{
    EXPECT_EQ(build_mail_request(host, "10.0.0.7", target, mail_of("hello world!")),
              "REQMOD icap://127.0.0.1:1344/webscan ICAP/1.0\r\n"
              "Host: 127.0.0.1\r\n"
              "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
              "Allow: 204\r\n"
              "X-Client-IP: 10.0.0.7\r\n"
              "X-Authenticated-User: TG9jYWw6Ly9TLTEtNS0yMQ==\r\n"
              "X-Process-Name: T1VUTE9PSy5FWEU=\r\n"
              "X-Process-ID: 4711\r\n"
              "X-Session-ID: 3\r\n"
              "X-Mime-Type: text/plain\r\n"
              "X-Mail-Subject: SGVsbG8=\r\n"
              "X-Mail-Tag: abc\r\n"
              "X-Mail-Type: 2\r\n"
              "X-Mail-Attach-Name: cmVwb3J0LnBkZg==\r\n"
              "X-Mail-Source: postwarden\r\n"
              "Encapsulated: req-hdr=0, req-body=63\r\n\r\n"
              "POST http://check_mail?tag=abc HTTP/1.1\r\nContent-Length: 12\r\n\r\n");
}

TEST(MailRequest, CountsOnlyTheHttpHeaderInReqBody)
{
    const std::string request = build_mail_request(host, host, target, mail_of(std::string(100000, 'x')));
    const auto header = request.substr(request.find("\r\n\r\n") + 4);
    EXPECT_EQ(header, "POST http://check_mail?tag=abc HTTP/1.1\r\nContent-Length: 100000\r\n\r\n");
    EXPECT_NE(request.find(test::joined({"req-body=", std::to_string(header.size()), "\r\n"})), std::string::npos);
}

TEST(MailRequest, OfABodyHasAnEmptyAttachmentNameBehindItsBlank)
{
    auto mail = mail_of("x");
    mail.type = content_type::body;
    mail.attach_name.clear();
    const std::string request = build_mail_request(host, host, target, mail);
    EXPECT_NE(request.find("\r\nX-Mail-Attach-Name: \r\n"), std::string::npos);
    EXPECT_NE(request.find("\r\nX-Mail-Type: 1\r\n"), std::string::npos);
}

TEST(MailRequest, SendsTheSubjectsOwnBytes)
{
    auto mail = mail_of("x");
    mail.subject = "\xfc"; // u umlaut in a code page with one byte per letter
    EXPECT_NE(build_mail_request(host, host, target, mail).find("X-Mail-Subject: /A==\r\n"), std::string::npos);
}

TEST(MailRequest, PutsTheAttachmentNameWhereTheTagNamesIt)
{
    auto mail = mail_of("x");
    mail.tag = "%ATTACH%";
    const std::string request = build_mail_request(host, host, target, mail);
    EXPECT_NE(request.find("\r\nX-Mail-Tag: cmVwb3J0LnBkZg==\r\n"), std::string::npos);
    EXPECT_NE(request.find("\r\nX-Mail-Attach-Name: %ATTACH%\r\n"), std::string::npos);
    EXPECT_NE(request.find("POST http://check_mail?tag=%ATTACH% HTTP/1.1\r\n"), std::string::npos);
}

TEST(MailRequest, EscapesNothing)
{
    auto mail = mail_of("x");
    mail.mime_type = "text/plain\r\nX-Other: 1";
    EXPECT_NE(build_mail_request(host, host, target, mail).find("X-Mime-Type: text/plain\r\nX-Other: 1\r\n"),
              std::string::npos);
}

TEST(MailRequest, SizesBeyond32BitsAreTold)
{
    auto data = std::make_shared<test::string_data>("x");
    data->phantom_bytes = 0x100000000ULL;
    auto mail = mail_of("");
    mail.data = data;
    EXPECT_NE(build_mail_request(host, host, target, mail).find("Content-Length: 4294967297\r\n"), std::string::npos);
}

TEST(HealthRequest, StandsToTheByte)
{
    scan_health health;
    health.user_name = "S-1-1-0";
    health.health = "Is scanner available?";
    EXPECT_EQ(build_health_request(host, host, target, health), "REQMOD icap://127.0.0.1:1344/webscan ICAP/1.0\r\n"
                                                                "Host: 127.0.0.1\r\n"
                                                                "Allow: 204\r\n"
                                                                "Preview: 0\r\n"
                                                                "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                                                                "X-Client-IP: 127.0.0.1\r\n"
                                                                "X-Authenticated-User: TG9jYWw6Ly9TLTEtMS0w\r\n"
                                                                "X-Health-Test: SXMgc2Nhbm5lciBhdmFpbGFibGU/\r\n"
                                                                "Encapsulated: req-hdr=0, null-body=35\r\n\r\n"
                                                                "GET http://health_test HTTP/1.1\r\n\r\n");
}

TEST(CertificateRequest, StandsToTheByte)
{
    scan_certificate certificate;
    certificate.user_name = "me";
    certificate.process_name = "p.exe";
    certificate.process_id = 7;
    certificate.sni = "www.example";
    certificate.certificate_name = L"cert.example";
    EXPECT_EQ(build_certificate_request(host, host, target, certificate),
              "REQMOD icap://127.0.0.1:1344/webscan ICAP/1.0\r\n"
              "Host: 127.0.0.1\r\n"
              "Allow: 204\r\n"
              "Preview: 0\r\n"
              "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
              "X-Client-IP: 127.0.0.1\r\n"
              "X-Authenticated-User: TG9jYWw6Ly9tZQ==\r\n"
              "X-Process-Name: cC5leGU=\r\n"
              "X-Process-ID: 7\r\n"
              "X-Certificate-Name: Y2VydC5leGFtcGxl\r\n"
              "Encapsulated: req-hdr=0, null-body=57\r\n\r\n"
              "GET http://check_certificate?sni=www.example HTTP/1.1\r\n\r\n");
}

TEST(CertificateRequest, ConvertsTheNameToTheAnsiCodePage)
{
    scan_certificate certificate;
    certificate.certificate_name = L"\u00fc";
    const std::string expected = winapi::base64::encode(winapi::conv_to_char(L"\u00fc"));
    EXPECT_NE(build_certificate_request(host, host, target, certificate)
                  .find(test::joined({"X-Certificate-Name: ", expected, "\r\n"})),
              std::string::npos);
}

const std::string http_request_text = "POST /upload HTTP/1.1\r\nHost: example\r\nContent-Length: 5\r\n\r\nhello";
const std::string http_request_head = "POST /upload HTTP/1.1\r\nHost: example\r\nContent-Length: 5\r\n\r\n";
const std::string http_response_text = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nworld";
const std::string http_response_head = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n";

TEST(ReqmodPreview, StandsToTheByte)
{
    const auto message = test::http_message(http_request_text);
    scan_http_request request;
    request.https = 1;
    request.user_name = "me";
    request.process_name = "p.exe";
    request.process_id = 7;
    request.session_id = 2;
    request.request = message.get();
    EXPECT_EQ(build_reqmod_preview(host, host, target, request, "hel"),
              (test::joined({"REQMOD icap://127.0.0.1:1344/webscan ICAP/1.0\r\n"
                             "Host: 127.0.0.1\r\n"
                             "Allow: 204\r\n"
                             "Preview: 3\r\n"
                             "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                             "X-Client-IP: 127.0.0.1\r\n"
                             "X-Authenticated-User: TG9jYWw6Ly9tZQ==\r\n"
                             "X-Process-Name: cC5leGU=\r\n"
                             "X-Process-ID: 7\r\n"
                             "X-Session-ID: 2\r\n"
                             "X-Https-Connection: 1\r\n"
                             "Encapsulated: req-hdr=0, req-body=59\r\n\r\n",
                             http_request_head, "3hel\r\n0\r\n\r\n"})));
}

TEST(RespmodPreview, StandsToTheByte)
{
    const auto request = test::http_message(http_request_text);
    const auto response = test::http_message(http_response_text);
    scan_http_response scan;
    scan.user_name = "me";
    scan.process_name = "p.exe";
    scan.process_id = 7;
    scan.session_id = 2;
    scan.request = request.get();
    scan.response = response.get();
    EXPECT_EQ(build_respmod_preview(host, host, target, scan, "world"),
              (test::joined({"RESPMOD icap://127.0.0.1:1344/webscan ICAP/1.0\r\n"
                             "Host: 127.0.0.1\r\n"
                             "Allow: 204\r\n"
                             "Preview: 5\r\n"
                             "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                             "X-Client-IP: 127.0.0.1\r\n"
                             "X-Authenticated-User: TG9jYWw6Ly9tZQ==\r\n"
                             "X-Process-Name: cC5leGU=\r\n"
                             "X-Process-ID: 7\r\n"
                             "X-Session-ID: 2\r\n"
                             "X-Https-Connection: 0\r\n"
                             "Encapsulated: req-hdr=0, res-hdr=59, res-body=97\r\n\r\n",
                             http_request_head, http_response_head, "5world\r\n0\r\n\r\n"})));
}

TEST(ObjectPreview, StandsToTheByte)
{
    EXPECT_EQ(build_object_preview(host, host, target, "C:\\a b.bin", 70000, "12345"),
              "RESPMOD icap://127.0.0.1:1344/webscan ICAP/1.0\r\n"
              "Host: 127.0.0.1\r\n"
              "Allow: 204\r\n"
              "Preview: 5\r\n"
              "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
              "X-Client-IP: 127.0.0.1\r\n"
              "Encapsulated: req-hdr=0, res-hdr=27, res-body=109\r\n\r\n"
              "GET C:\\a b.bin HTTP/1.1\r\n\r\n"
              "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: 70000\r\n\r\n"
              "512345\r\n0\r\n\r\n");
}

TEST(ObjectPreview, OfAnEmptyPreviewHasTheTerminatorAlone)
{
    const std::string request = build_object_preview(host, host, target, "x", 10, {});
    EXPECT_NE(request.find("\r\nPreview: 0\r\n"), std::string::npos);
    EXPECT_TRUE(request.ends_with("Content-Length: 10\r\n\r\n0\r\n\r\n"));
}

TEST(PreviewTail, OfThirtyOneBytesBeginsWithTheirCount)
{
    const std::string bytes(31, 'p');
    EXPECT_TRUE(build_object_preview(host, host, target, "x", 31, bytes)
                    .ends_with(test::joined({"\r\n\r\n1f", bytes, "\r\n0\r\n\r\n"})));
}

} // namespace request_templates_test
