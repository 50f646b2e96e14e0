#include "tests/support/log_capture.h"
#include "tests/tool/icap_client/joined.h"
#include "tests/tool/icap_client/string_data.h"
#include "tool/http/message.h"
#include "tool/icap/analyzer.h"
#include "tool/icap/request_message.h"
#include "tool/icap_client/hardened_values.h"
#include "tool/icap_client/request_templates.h"
#include "tool/system/base64.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace hardened_values_test {

using namespace icap::client;
using namespace std::string_literals;

const std::string host = "127.0.0.1";
const std::string target = "icap://127.0.0.1:1344/webscan";
constexpr std::size_t largest_heads = 8192;

scan_mail hardened_mail()
{
    scan_mail mail;
    mail.user_name = "S-1-5-21";
    mail.session_id = 3;
    mail.process_name = "OUTLOOK.EXE";
    mail.process_id = 4711;
    mail.subject = "Hello";
    mail.tag = "<1.a+b@example.org>";
    mail.mime_type = "text/plain";
    mail.attach_name = "report.pdf";
    mail.data = std::make_shared<test::string_data>("hello world!");
    mail.hardened = true;
    return mail;
}

std::string request_of(const scan_mail& mail)
{
    return build_mail_request(host, host, target, mail);
}

/// Returns the request message that the text is read as, which is the one that is sent.
std::unique_ptr<icap::message> sent_as(const std::string& text)
{
    icap::analyzer analyzer;
    analyzer.enqueue(text.data(), text.data() + text.size());
    return analyzer.extract();
}

std::string repeated(std::size_t count, const std::string& part)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += part;
    }
    return text;
}

TEST(HardenedRequest, OfAnOrdinaryMailHasTheBytesOfAnyOther)
{
    scan_mail mail = hardened_mail();
    const std::string hardened = request_of(mail);
    mail.hardened = false;
    EXPECT_EQ(hardened, request_of(mail));
}

TEST(HardenedRequest, IsReadAsOneRequestWhateverItsTagIs)
{
    const std::vector<std::pair<std::string, std::string>> tags{
        {"a\x01"s + "b", "a%01b"},
        {"a\0b"s, "a%00b"},
        {"a HTTP/1.1 b", "a%20HTTP/1.1%20b"},
        {"%LENGTH%", "%25LENGTH%25"},
        {"%ATTACH%%HOST%%REQ_BODY%", "%25ATTACH%25%25HOST%25%25REQ_BODY%25"},
        {"a\r\nEncapsulated: null-body=0\r\n\r\nb", "a%0D%0AEncapsulated:%20null-body=0%0D%0A%0D%0Ab"},
        {"\x7F\xC3\xBC\xFF", "%7F%C3%BC%FF"},
        {"%25", "%2525"},
    };
    for (const auto& [tag, written] : tags) {
        scan_mail mail = hardened_mail();
        mail.tag = tag;
        const std::string text = request_of(mail);
        const std::string header =
            test::joined({"POST http://check_mail?tag=", written, " HTTP/1.1\r\nContent-Length: 12\r\n\r\n"});
        EXPECT_NE(text.find(test::joined({"\r\nX-Mail-Tag: ", written, "\r\n"})), std::string::npos) << text;
        EXPECT_EQ(text.substr(text.find("\r\n\r\n") + 4), header);
        EXPECT_NE(text.find(test::joined({"req-body=", std::to_string(header.size()), "\r\n"})), std::string::npos);
        EXPECT_NE(text.find("\r\nX-Mail-Attach-Name: cmVwb3J0LnBkZg==\r\n"), std::string::npos);
        EXPECT_NE(dynamic_cast<icap::request_message*>(sent_as(text).get()), nullptr) << text;
    }
}

TEST(HardenedRequest, WritesAMimeTypeThatIsNoneInVisibleAscii)
{
    scan_mail mail = hardened_mail();
    mail.mime_type = "text/plain\r\nEncapsulated: null-body=0\r\n%TAG%";
    EXPECT_NE(request_of(mail).find(
                  "\r\nX-Mime-Type: text/plain%0D%0AEncapsulated:%20null-body=0%0D%0A%25TAG%25\r\nX-Mail-Subject: "),
              std::string::npos);
}

TEST(HardenedRequest, WithTheLongestValuesFitsTheServicesLimits)
{
    const std::string longest(20000, '\x01');
    scan_mail mail = hardened_mail();
    mail.user_name = mail.process_name = mail.subject = mail.tag = mail.mime_type = mail.attach_name = longest;
    mail.session_id = mail.process_id = 0xFFFFFFFF;
    const std::string text = build_mail_request("255.255.255.255", "255.255.255.255",
                                                "icap://255.255.255.255:65535/" + longest.substr(0, 70), mail);
    EXPECT_LT(text.size(), largest_heads);
    mail = hardened_mail();
    mail.user_name = mail.process_name = mail.subject = mail.tag = mail.mime_type = mail.attach_name = longest;
    EXPECT_NE(dynamic_cast<icap::request_message*>(sent_as(request_of(mail)).get()), nullptr);
}

TEST(HardenedRequest, NamesEachValueThatItCuts)
{
    const test::log_capture log;
    scan_mail mail = hardened_mail();
    mail.attach_name = std::string(13000, 'n') + ".exe";
    mail.mime_type = std::string(17000, 'm');
    mail.tag = std::string(400, ' ');
    const std::string text = request_of(mail);
    EXPECT_EQ(log.texts("icapclnt"),
              (std::vector<std::string>{"mail request: X-Mail-Tag cut from 1200 to 999 bytes",
                                        "mail request: X-Mime-Type cut from 17000 to 255 bytes",
                                        "mail request: X-Mail-Attach-Name cut from 13004 to 1000 bytes"}));
    for (const auto& line : log.lines()) {
        EXPECT_EQ(line.level, 300);
    }
    EXPECT_NE(text.find(test::joined({"\r\nX-Mime-Type: ", std::string(255, 'm'), "\r\n"})), std::string::npos);
    EXPECT_NE(text.find(test::joined({"\r\nX-Mail-Tag: ", repeated(333, "%20"), "\r\n"})), std::string::npos);
    EXPECT_NE(text.find(test::joined(
                  {"\r\nX-Mail-Attach-Name: ", winapi::base64::encode(std::string(996, 'n') + ".exe"), "\r\n"})),
              std::string::npos)
        << "the extension remains";
}

TEST(VisibleAscii, EndsWithAWholeCharacter)
{
    const std::string text = "a\xE2\x82\xAC"; // a euro sign behind one letter
    EXPECT_EQ(visible_ascii(text, 10), "a%E2%82%AC");
    EXPECT_EQ(visible_ascii(text, 9), "a");
    EXPECT_EQ(visible_ascii(text, 1), "a");
    EXPECT_EQ(visible_ascii(text, 0), "");
    EXPECT_EQ(visible_ascii("\x82\x82", 3), "%82") << "a byte that belongs to no character counts as one";
}

TEST(VisibleAscii, KeepsEveryVisibleCharacterButThePercentSign)
{
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        const bool kept = byte >= 0x21 && byte <= 0x7E && byte != '%';
        EXPECT_EQ(visible_ascii(text, 3).size(), kept ? 1U : 3U) << byte;
    }
}

TEST(WholeBeginning, EndsWithAWholeCharacter)
{
    const std::string text = "a\xE2\x82\xAC"
                             "b";
    EXPECT_EQ(whole_beginning(text, 5), text);
    EXPECT_EQ(whole_beginning(text, 4), text.substr(0, 4));
    EXPECT_EQ(whole_beginning(text, 3), "a");
    EXPECT_EQ(whole_beginning("\x82\x82\x82", 2), "\x82\x82");
}

TEST(ShortFileName, KeepsAShortExtension)
{
    EXPECT_EQ(short_file_name("abcdef.exe", 10), "abcdef.exe");
    EXPECT_EQ(short_file_name("abcdefg.exe", 10), "abcdef.exe");
    EXPECT_EQ(short_file_name("abcdefghijkl", 10), "abcdefghij");
    EXPECT_EQ(short_file_name("a." + std::string(32, 'e'), 10), "a.eeeeeeee");
}

} // namespace hardened_values_test
