#include "tests/tool/icap_client/session_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace reply = test::reply;
using namespace icap::client;
using test::conversation;
using test::greeted;
using test::joined;
using texts = std::vector<std::string>;

class MailScan : public test::session_fixture
{
protected:
    MailScan()
    {
        mail.user_name = "S-1-5-21";
        mail.session_id = 3;
        mail.process_name = "OUTLOOK.EXE";
        mail.process_id = 4711;
        mail.subject = "Hello";
        mail.tag = "abc";
        mail.mime_type = "text/plain";
        mail.timeout = 20000;
    }
    void set_body(std::string text)
    {
        data = std::make_shared<test::string_data>(std::move(text));
        mail.data = data;
    }
    /// Returns the bytes that a scan of a body of `size` bytes writes to the wire ahead of the body.
    [[nodiscard]] std::string heads(std::uint64_t size) const
    {
        const std::string header =
            joined({"POST http://check_mail?tag=abc HTTP/1.1\r\nContent-Length: ", std::to_string(size), "\r\n\r\n"});
        return joined({"REQMOD ", url(),
                       " ICAP/1.0\r\n"
                       "Host: 127.0.0.1\r\n"
                       "User-Agent: Morvelane-Protection-Agent/1.0\r\n"
                       "Allow: 204\r\n"
                       "X-Client-IP: 127.0.0.1\r\n"
                       "X-Authenticated-User: TG9jYWw6Ly9TLTEtNS0yMQ==\r\n"
                       "X-Process-Name: T1VUTE9PSy5FWEU=\r\n"
                       "X-Process-ID: 4711\r\n"
                       "X-Session-ID: 3\r\n"
                       "X-Mime-Type: text/plain\r\n"
                       "X-Mail-Subject: SGVsbG8=\r\n"
                       "X-Mail-Tag: abc\r\n"
                       "X-Mail-Type: 1\r\n"
                       "X-Mail-Attach-Name: \r\n"
                       "X-Mail-Source: postwarden\r\n"
                       "Encapsulated: req-hdr=0, req-body=",
                       std::to_string(header.size()), "\r\n\r\n", header});
    }
    [[nodiscard]] std::string wire(const std::string& body) const
    {
        if (body.empty()) {
            return heads(0);
        }
        return joined({heads(body.size()), reply::hexadecimal(body.size()), "\r\n", body, "\r\n0\r\n\r\n"});
    }
    /// Returns a script that reads a mail of that body and answers.
    [[nodiscard]] static conversation answering(const std::string& body, const std::string& answer)
    {
        auto script = greeted().expect_until("\r\n\r\n").expect_until("\r\n\r\n");
        if (!body.empty()) {
            script.expect(reply::hexadecimal(body.size()).size() + 2 + body.size() + 7);
        }
        return std::move(script.send(answer));
    }
    /// Adds one mail with a body of a few bytes to a script.
    static void expect_mail(conversation& script) { script.expect_until("\r\n0\r\n\r\n"); }
    ScanResult scan() { return subject->scan(mail, answer); }

    scan_mail mail;
    std::shared_ptr<test::string_data> data;
    session::answer_ptr answer;
};

std::string patterned(std::size_t size)
{
    std::string text(size, '\0');
    for (std::size_t place = 0; place < size; ++place) {
        text[place] = static_cast<char>(place * 31 + place / 251);
    }
    return text;
}

class MailScanSizes : public MailScan, public testing::WithParamInterface<std::size_t>
{};

TEST_P(MailScanSizes, AreSentToTheByteAsOneChunk)
{
    const std::string body = patterned(GetParam());
    serve(answering(body, reply::no_content()));
    open();
    set_body(body);
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(request() == wire(body));
    EXPECT_FALSE(subject->is_invalid());
    EXPECT_EQ(answer, nullptr);
    EXPECT_TRUE(data->text() == body);
    EXPECT_TRUE(peer->complaints().empty());
}

INSTANTIATE_TEST_SUITE_P(Bodies, MailScanSizes,
                         testing::Values(0, 1, 4095, 4096, 4097, 131070, 131071, std::size_t{64} << 20));

TEST_F(MailScan, CleanLogsItsCourse)
{
    serve(answering("body", reply::no_content()));
    open();
    set_body("body");
    const test::log_capture log;
    scan();
    EXPECT_EQ(lines(log), (texts{"500 S mail request 'Hello'", "500 S send msg and wait reply ",
                                 "500 S request has been completed: response 'no content' with istag=\"T-1\"",
                                 "500 S mail request 'Hello' is successfully completed"}));
}

TEST_F(MailScan, CleanLetsTheBodyGo)
{
    serve(answering("body", reply::no_content()));
    open();
    set_body("body");
    scan();
    mail.data.reset();
    EXPECT_EQ(data.use_count(), 1);
}

TEST_F(MailScan, BlockedLogsOnlyTheCallbacksLineAndGivesTheAnswer)
{
    serve(answering("body", reply::blocked("Bad.Thing", "<html>removed</html>")));
    open();
    set_body("body");
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Blocked);
    EXPECT_EQ(lines(log),
              (texts{"500 S mail request 'Hello'", "500 S send msg and wait reply ",
                     "500 S request has been completed: response 'blocked' threat='Bad.Thing' with istag=\"T-1\""}));
    EXPECT_EQ(subject->threat(), "Bad.Thing");
    ASSERT_NE(answer, nullptr);
    http::byte_vector bytes;
    auto& body = answer->response().body();
    bytes.resize(body.size());
    body.read(0, bytes.data(), bytes.size());
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "<html>removed</html>");
    EXPECT_EQ(data->text(), "body");
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(MailScan, BlockedWithoutResolutionIsBlocked)
{
    serve(answering("body", reply::with_body(200, "Threat=X", "no")));
    open();
    set_body("body");
    EXPECT_EQ(scan(), ScanResult::Blocked);
    EXPECT_EQ(subject->threat(), "X");
}

TEST_F(MailScan, RepairedOverwritesTheBodyAndLogsTheWordBlocked)
{
    serve(answering("a long old body", reply::repaired("healed")));
    open();
    set_body("a long old body");
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Repaired);
    EXPECT_EQ(data->text(), "healed");
    EXPECT_EQ(lines(log), (texts{"500 S mail request 'Hello'", "500 S send msg and wait reply ",
                                 "500 S request has been completed: response 'repaired' with istag=\"T-1\"",
                                 "500 S mail request 'Hello' has been blocked by scanner"}));
    EXPECT_NE(answer, nullptr);
}

TEST_F(MailScan, RepairedByStatus201)
{
    serve(answering("old", reply::with_body(201, "", "new text that is longer")));
    open();
    set_body("old");
    EXPECT_EQ(scan(), ScanResult::Repaired);
    EXPECT_EQ(data->text(), "new text that is longer");
}

TEST_F(MailScan, RepairedToNothing)
{
    serve(answering("old", reply::repaired("")));
    open();
    set_body("old");
    EXPECT_EQ(scan(), ScanResult::Repaired);
    EXPECT_EQ(data->text(), "");
}

class MailRepairSizes : public MailScan, public testing::WithParamInterface<std::size_t>
{};

TEST_P(MailRepairSizes, ArriveWhole)
{
    const std::string healed = patterned(GetParam());
    serve(answering("old", reply::repaired(healed)));
    open();
    set_body("old");
    EXPECT_EQ(scan(), ScanResult::Repaired);
    EXPECT_TRUE(data->text() == healed);
}

INSTANTIATE_TEST_SUITE_P(Bodies, MailRepairSizes, testing::Values(1, 4095, 4096, 4097, 8192, 131070, 131071, 300000));

TEST_F(MailScan, ARepairThatCannotBeWrittenDecidesNothing)
{
    serve(answering("old", reply::repaired("healed")));
    open();
    set_body("old");
    data->raise_on_write = true;
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::None);
    EXPECT_TRUE(log.contains(") request respmod(repair failed): the body cannot be written"));
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(MailScan, ARepairThatIsWrittenShortDecidesNothing)
{
    serve(answering("old", reply::repaired("healed")));
    open();
    set_body("old");
    data->most_per_write = 2;
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::None);
    const auto all = lines(log);
    ASSERT_EQ(all.size(), 6U);
    EXPECT_EQ(all[3], "200 S fire_repaired: could not write to scanned IO");
    EXPECT_EQ(all[4], "200 S request respmod(repair failed): write to scanned IO failed");
    EXPECT_EQ(all[5], "500 S mail request 'Hello' has been blocked by scanner");
    EXPECT_EQ(data->text(), "hed");
}

TEST_F(MailScan, ARepairWithoutABodyDecidesNothing)
{
    serve(answering("old", reply::bare(201, "Created")));
    open();
    set_body("old");
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::None);
    EXPECT_TRUE(log.contains(") request respmod(repair failed): request message does not exist"));
    EXPECT_EQ(data->text(), "old");
}

TEST_F(MailScan, AStatus200WithoutInfectionIsClean)
{
    serve(answering("old", reply::with_body(200, "", "other text")));
    open();
    set_body("old");
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(data->text(), "old");
}

TEST_F(MailScan, AnUnknownStatusFailsOpenAndSpoilsTheSession)
{
    serve(answering("body", reply::bare(206, "Partial")));
    open();
    set_body("body");
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(lines(log), (texts{"500 S mail request 'Hello'", "500 S send msg and wait reply ",
                                 "200 Srequest has been completed with error 'response from server is 206'",
                                 "200 S mail request: 'Hello' failed: request failed: server reply with error"}));
    EXPECT_TRUE(subject->is_invalid());
    mail.data.reset();
    EXPECT_EQ(data.use_count(), 1);
}

TEST_F(MailScan, AContinueLeavesTheResultOpen)
{
    serve(answering("body", reply::go_on()));
    open();
    set_body("body");
    EXPECT_EQ(scan(), ScanResult::None);
}

TEST_F(MailScan, NoAnswerInTimeFailsOpenAndSpoilsTheSession)
{
    serve(greeted().wait());
    open();
    set_body("body");
    mail.timeout = 100;
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(lines(log), (texts{"500 S mail request 'Hello'", "500 S send msg and wait reply ",
                                 "200 S mail request: 'Hello' failed: send request timeout occured"}));
    EXPECT_TRUE(subject->is_invalid());
    EXPECT_TRUE(log.contains("invalid?:true, error?:true"));
}

TEST_F(MailScan, ALateAnswerRunsItsCallbackButTouchesNoBody)
{
    serve(greeted().wait().send(reply::repaired("healed")));
    open();
    set_body("body");
    mail.timeout = 50;
    EXPECT_EQ(scan(), ScanResult::Clean);
    const test::log_capture log;
    peer->release();
    for (int attempt = 0; attempt < 3000 && !log.contains("response 'repaired'"); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(log.contains("response 'repaired'"));
    EXPECT_EQ(data->text(), "body");
    EXPECT_TRUE(subject->is_invalid());
}

TEST_F(MailScan, AnAnswerBeforeTheRequestIsOutEndsTheWaitAtOnce)
{
    const std::string body(1 << 20, 'b');
    serve(greeted().expect(10).send(reply::blocked("Early")));
    open();
    set_body(body);
    EXPECT_EQ(scan(), ScanResult::Blocked);
    ASSERT_TRUE(peer->wait_for_bytes(0, options_text().size() + wire(body).size()));
    EXPECT_TRUE(request() == wire(body));
}

TEST_F(MailScan, TwoAnswersAtOnceEndInTheTimeOut)
{
    serve(answering("body", joined({reply::no_content(), reply::no_content()})));
    open();
    set_body("body");
    mail.timeout = 200;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(subject->is_invalid());
}

TEST_F(MailScan, AnAnswerCutAnywhereIsUnderstood)
{
    const std::string answer_text = reply::repaired("healed");
    auto script = greeted();
    const auto log = std::make_shared<test::log_capture>(); // the peer may outlive the test
    std::size_t scans = 0;
    for (std::size_t cut = 1; cut < answer_text.size(); cut += 7) {
        expect_mail(script);
        const auto is_read = [log, line_end = ", size=" + std::to_string(cut)] {
            const auto written = log->texts("wpx");
            return std::any_of(written.begin(), written.end(),
                               [&](const std::string& text) { return text.ends_with(line_end); });
        };
        script.send(answer_text.substr(0, cut)).hold_until(is_read).send(answer_text.substr(cut));
        ++scans;
    }
    serve(std::move(script));
    open();
    for (std::size_t count = 0; count < scans; ++count) {
        set_body("body");
        log->clear();
        ASSERT_EQ(scan(), ScanResult::Repaired) << count;
        ASSERT_EQ(data->text(), "healed");
    }
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(MailScan, AnAnswerThatComesByteByByteIsUnderstood)
{
    serve(std::move(greeted().expect_until("\r\n0\r\n\r\n").send_bytewise(reply::blocked("Slow"))));
    open();
    set_body("body");
    EXPECT_EQ(scan(), ScanResult::Blocked);
    EXPECT_EQ(subject->threat(), "Slow");
}

class MailScanBrokenAnswers : public MailScan, public testing::WithParamInterface<std::string>
{};

TEST_P(MailScanBrokenAnswers, EndInTheTimeOut)
{
    serve(answering("body", GetParam()));
    open();
    set_body("body");
    mail.timeout = 150;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(answer, nullptr);
    EXPECT_EQ(data->text(), "body");
    EXPECT_TRUE(subject->is_invalid());
}

INSTANTIATE_TEST_SUITE_P(
    Answers, MailScanBrokenAnswers,
    testing::Values(
        std::string("nobody expects this\r\n\r\n"), std::string("ICAP/1.0 204 No Content\r\nISTag: x\r\n\r\n"),
        std::string("ICAP/1.0 204 No Content\r\nEncapsulated: rubbish\r\n\r\n"),
        std::string("ICAP/1.0 200 OK\r\nEncapsulated: opt-body=0\r\n\r\n"),
        std::string("ICAP/1.0 200 OK\r\nEncapsulated: res-hdr=50, res-body=10\r\n\r\nHTTP/1.1 200 OK\r\n\r\n"),
        std::string("ICAP/1.0 200 OK\r\nEncapsulated: res-hdr=0, res-body=5\r\n\r\nHTTP/1.1 200 OK\r\n\r\n"),
        std::string("OPTIONS icap://x/y ICAP/1.0\r\nHost: x\r\n\r\n"),
        joined({"ICAP/1.0 204 No Content\r\nX-Endless: ", std::string(70000, 'e')}), std::string("ICAP/1.0 20")));

class MailScanClosing : public MailScan, public testing::WithParamInterface<std::size_t>
{};

TEST_P(MailScanClosing, InTheMiddleOfAnAnswerFailsOpen)
{
    const std::string text = reply::repaired("healed");
    serve(
        std::move(greeted().expect_until("\r\n0\r\n\r\n").send(text.substr(0, text.size() * GetParam() / 10)).close()));
    open();
    set_body("body");
    mail.timeout = 150;
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(data->text(), "body");
    EXPECT_TRUE(log.contains(") network problem occured: 10058"));
    EXPECT_TRUE(log.contains("failed: send request timeout occured"));
    EXPECT_TRUE(subject->is_invalid());
}

INSTANTIATE_TEST_SUITE_P(Places, MailScanClosing, testing::Values(0, 1, 5, 8, 9));

TEST_F(MailScan, APeerThatResetsDuringTheRequestFailsOpen)
{
    serve(std::move(greeted().expect(10).reset()));
    open();
    set_body(std::string(4 << 20, 'b'));
    mail.timeout = 100;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(subject->is_invalid());
}

TEST_F(MailScan, ABodyThatRaisesFailsOpenAndLeavesTheSessionUsable)
{
    serve(answering("body", reply::no_content()));
    open();
    set_body("body");
    data->raise_on_read = true;
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(log.contains(") mail request: 'Hello' failed: the body cannot be read"));
    EXPECT_FALSE(subject->is_invalid());
    EXPECT_EQ(request(), "");
    data->raise_on_read = false;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(request(), wire("body"));
}

TEST_F(MailScan, ABodyThatReadsShortIsReadOn)
{
    const std::string body = patterned(10000);
    serve(answering(body, reply::no_content()));
    open();
    set_body(body);
    data->most_per_read = 777;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(request() == wire(body));
}

TEST_F(MailScan, ABodyThatEndsEarlyIsRefused)
{
    serve(greeted());
    open();
    set_body("body");
    data->phantom_bytes = 1;
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(log.contains(") mail request: 'Hello' failed: request message has been completed"));
    EXPECT_EQ(request(), "");
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(MailScan, AHeadThatIsNoRequestIsRefused)
{
    serve(greeted());
    open();
    set_body("body");
    mail.mime_type = "text/plain\r\n:\r\n";
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    const auto all = lines(log);
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[1], "200 S REQMOD request mail 'Hello': could not create empty request for mail");
    EXPECT_EQ(all[2], "200 S mail request: 'Hello' failed: could not create empty request for mail");
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(MailScan, AHeadThatEndsBehindTheBodyIsRefused)
{
    serve(greeted());
    open();
    set_body("");
    mail.mime_type = "text/plain\r\nEncapsulated: req-hdr=0, req-body=9999";
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    const auto all = lines(log);
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[1], "200 S REQMOD request mail 'Hello': could not create empty request for mail: message does not "
                      "complete");
    EXPECT_EQ(all[2], "200 S mail request: 'Hello' failed: could not create empty request for mail: message does not "
                      "complete");
    EXPECT_EQ(request(), "");
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(MailScan, AHeadBeyondTheLimitIsRefused)
{
    serve(greeted());
    open();
    set_body("body");
    mail.subject = std::string(20000, 's');
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(log.contains("' failed: inmemory_cache::append() failed: max size exceeded"));
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(MailScan, WithoutABodyObjectFailsOpen)
{
    serve(greeted());
    open();
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(request(), "");
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(MailScan, APeerThatReadsLateOnlyDelaysTheWriter)
{
    const std::string body = patterned(8 << 20);
    const auto log = std::make_shared<test::log_capture>(300); // the peer may outlive the test
    const auto is_full = [log] { return log->contains(") write is blocked (WSAEWOULDBLOCK)"); };
    serve(std::move(
        greeted().hold_until(is_full).expect_until("Content-Length").expect(body.size()).send(reply::blocked("B"))));
    open();
    set_body(body);
    EXPECT_EQ(scan(), ScanResult::Blocked);
    ASSERT_TRUE(peer->wait_for_bytes(0, options_text().size() + wire(body).size()));
    EXPECT_TRUE(request() == wire(body));
}

TEST_F(MailScan, OnAClosedSessionFailsOpen)
{
    serve(greeted());
    open();
    subject->close();
    set_body("body");
    mail.timeout = 50;
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(log.contains("failed: send request timeout occured"));
    EXPECT_TRUE(subject->is_invalid());
    EXPECT_EQ(request(), "");
}

TEST_F(MailScan, ManyScansShareOneConnection)
{
    auto script = greeted();
    for (int count = 0; count < 20; ++count) {
        expect_mail(script);
        script.send(count % 2 == 0 ? reply::no_content() : reply::blocked("B"));
    }
    serve(std::move(script));
    open();
    for (int count = 0; count < 20; ++count) {
        set_body("body");
        EXPECT_EQ(scan(), count % 2 == 0 ? ScanResult::Clean : ScanResult::Blocked);
    }
    EXPECT_EQ(peer->connections(), 1U);
    EXPECT_FALSE(subject->is_invalid());
}

} // namespace
