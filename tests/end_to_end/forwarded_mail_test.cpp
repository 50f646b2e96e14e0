// An attached message is sent twice, as a body and as a whole, and is judged as one attachment.

#include "desk/run/snapshot.h"
#include "service/scan_server.h"
#include "tests/end_to_end/desk.h"
#include "tests/end_to_end/keeping_engine.h"
#include "tests/support/log_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// Returns a message with another one attached, which has an attached file.
std::string forwarding_mail(const std::string& inner_subject, const std::string& inner_body)
{
    return "From: Ada <ada@example.org>\r\nTo: Ben <ben@example.org>\r\nSubject: Fwd: Figures\r\n"
           "Message-ID: <outer@example.org>\r\nMIME-Version: 1.0\r\n"
           "Content-Type: multipart/mixed; boundary=\"outer\"\r\n\r\n"
           "--outer\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nSee below.\r\n"
           "--outer\r\nContent-Type: message/rfc822\r\nContent-Disposition: attachment\r\n\r\n"
           "From: =?utf-8?Q?Zo=C3=AB?= <zoe@example.org>\r\nTo: Ada <ada@example.org>\r\nBcc: Hidden "
           "<h@example.org>\r\n"
           "Subject: " +
           inner_subject +
           "\r\nMessage-ID: <inner@example.org>\r\nMIME-Version: 1.0\r\n"
           "Content-Type: multipart/mixed; boundary=\"inner\"\r\n\r\n"
           "--inner\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n" +
           inner_body +
           "\r\n--inner\r\nContent-Type: application/octet-stream\r\nContent-Disposition: attachment;"
           " filename=\"figures.bin\"\r\n\r\n12345678\r\n--inner--\r\n"
           "\r\n--outer--\r\n";
}

class forwarded_mail : public testing::Test
{
protected:
    void start(std::string condemned)
    {
        engine = std::make_shared<test::keeping_engine>(std::move(condemned));
        service::server_options settings;
        settings.custom_engine = engine;
        server = std::make_unique<service::scan_server>(settings);
        server->start();
        reader = std::make_unique<test::desk>(server->port());
    }

    std::shared_ptr<test::keeping_engine> engine;
    std::unique_ptr<service::scan_server> server;
    std::unique_ptr<test::desk> reader;
};

TEST_F(forwarded_mail, goes_over_the_wire_as_a_body_and_then_whole)
{
    start({});
    const auto opened = reader->open(forwarding_mail("Figures", "Here they are."));
    EXPECT_EQ(opened.verdict, ScanResult::Clean);
    EXPECT_THAT(engine->objects(),
                ElementsAre("See below.", "Here they are.",
                            AllOf(HasSubstr("Subject: Figures\r\n"), HasSubstr("Message-ID: <inner@example.org>\r\n"),
                                  HasSubstr("From: =?UTF-8?b?"), HasSubstr("Bcc: Hidden <h@example.org>\r\n"),
                                  HasSubstr("\r\n\r\nHere they are."), HasSubstr("filename=figures.bin"),
                                  HasSubstr("MTIzNDU2Nzg="), Not(HasSubstr("See below.")))));
}

TEST_F(forwarded_mail, with_a_condemned_body_is_not_sent_whole_and_goes_with_all_that_is_in_it)
{
    start("virulent");
    const test::log_capture log;
    const auto opened = reader->open(forwarding_mail("Figures", "A virulent text."));
    EXPECT_EQ(opened.verdict, ScanResult::Blocked);
    EXPECT_THAT(engine->objects(), ElementsAre("See below.", "A virulent text."));
    EXPECT_FALSE(log.contains("Checking message as MIME sheet"));
    const auto shown = host::take_snapshot(opened.shown);
    ASSERT_EQ(shown.attachments.size(), 1U);
    EXPECT_EQ(shown.attachments[0].embedded, nullptr);
    EXPECT_EQ(shown.attachments[0].mime_tag, "text/html");
}

TEST_F(forwarded_mail, that_is_condemned_as_a_whole_goes_as_one_attachment)
{
    start("Subject: Condemned");
    const auto opened = reader->open(forwarding_mail("Condemned", "Here they are."));
    EXPECT_EQ(opened.verdict, ScanResult::Blocked);
    EXPECT_EQ(engine->objects().size(), 3U);
    const auto shown = host::take_snapshot(opened.shown);
    ASSERT_EQ(shown.attachments.size(), 1U);
    EXPECT_EQ(shown.attachments[0].embedded, nullptr);
    EXPECT_EQ(shown.attachments[0].mime_tag, "text/html");
    EXPECT_EQ(shown.attachments[0].name, "Condemned.htm");
}

TEST_F(forwarded_mail, is_judged_although_its_own_attachments_are_never_looked_at_by_themselves)
{
    start({});
    const test::log_capture log;
    reader->open(forwarding_mail("Figures", "Here they are."));
    std::size_t checked = 0;
    for (const auto& line : log.lines()) {
        checked += line.text.find(" - Checking attachment ID: ") == 0 ? 1 : 0;
    }
    EXPECT_EQ(checked, 1U);
}

} // namespace
