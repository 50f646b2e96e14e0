#include "tests/tool/icap_client/session_fixture.h"
#include "tool/icap_client/session_manager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>

namespace {

namespace reply = test::reply;
using namespace icap::client;
using test::conversation;
using test::greeted;
using test::joined;
using test::scripted_peer;

const std::string body_end = "\r\n0\r\n\r\n";
const std::string clean_line = "response 'no content'";

/// Answers that belong to no request.
class StrayAnswer : public test::session_fixture
{
protected:
    StrayAnswer()
    {
        mail.data = std::make_shared<test::string_data>("body");
        mail.timeout = 20000;
        object.data = std::make_shared<test::string_data>("abcdefgh");
        object.timeout = 20000;
    }
    /// Returns how many lines contain the part, as soon as there are `wanted` of them.
    static std::ptrdiff_t lines_with(const test::log_capture& log, std::string_view part, std::ptrdiff_t wanted)
    {
        std::ptrdiff_t count = 0;
        for (int attempt = 0; attempt < 3000 && count < wanted; ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            const auto all = log.texts();
            count = std::count_if(all.begin(), all.end(),
                                  [part](const std::string& text) { return text.find(part) != std::string::npos; });
        }
        return count;
    }
    /// Waits until a read of that many bytes has been passed on: until the next read starts behind it.
    static bool has_delivered(const test::log_capture& log, std::size_t size)
    {
        const std::string completed = joined({", size=", std::to_string(size)});
        for (int attempt = 0; attempt < 3000; ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            const auto all = log.texts("wpx");
            const auto read = std::find_if(all.begin(), all.end(),
                                           [&completed](const std::string& text) { return text.ends_with(completed); });
            if (std::any_of(read, all.end(),
                            [](const std::string& text) { return text.find(") read ctx=") != std::string::npos; })) {
                return true;
            }
        }
        return false;
    }
    /// Lets the peer send what nothing waits for, and returns when the session has processed it.
    void release_and_await(std::string_view part)
    {
        const test::log_capture log;
        peer->release();
        EXPECT_EQ(lines_with(log, part, 1), 1) << part;
    }
    ScanResult scan_mail_now() { return subject->scan(mail, answer); }
    /// Expects that a further scan fails without a byte on the wire, and that the session remains invalid.
    void expect_useless()
    {
        EXPECT_TRUE(subject->is_invalid());
        const std::string sent = peer->received(0);
        const test::log_capture log;
        answer = nullptr;
        EXPECT_EQ(scan_mail_now(), ScanResult::Clean);
        EXPECT_TRUE(log.contains(") mail request: '' failed: request failed: server reply with error"));
        EXPECT_EQ(answer, nullptr);
        EXPECT_FALSE(subject->answered());
        EXPECT_TRUE(subject->is_invalid());
        EXPECT_EQ(peer->received(0), sent);
    }

    scan_mail mail;
    scan_object object;
    session::answer_ptr answer;
};

struct unasked
{
    const char* name;
    std::string text;
    std::string line; ///< part of the line that its callback logs

    friend std::ostream& operator<<(std::ostream& out, const unasked& answer) { return out << answer.name; }
};

class StrayAnswerKinds : public StrayAnswer, public testing::WithParamInterface<unasked>
{};

TEST_P(StrayAnswerKinds, AheadOfTheFirstScanMakeTheSessionInvalid)
{
    serve(greeted(7).wait().send(GetParam().text));
    open();
    EXPECT_FALSE(subject->is_invalid());
    release_and_await(GetParam().line);
    EXPECT_EQ(subject->preview_size(), 7U);
    EXPECT_EQ(subject->threat(), "");
    expect_useless();
}

TEST_P(StrayAnswerKinds, BehindTheVerdictOfAScanMakeTheSessionInvalid)
{
    serve(greeted(7).expect_until(body_end).send(reply::blocked("Bad")).wait().send(GetParam().text));
    open();
    EXPECT_EQ(scan_mail_now(), ScanResult::Blocked);
    EXPECT_FALSE(subject->is_invalid());
    release_and_await(GetParam().line);
    EXPECT_EQ(subject->threat(), "Bad");
    EXPECT_EQ(subject->preview_size(), 7U);
    expect_useless();
}

INSTANTIATE_TEST_SUITE_P(Answers, StrayAnswerKinds,
                         testing::Values(unasked{"Options", reply::options(3), "request options has been completed"},
                                         unasked{"Continue", reply::go_on(), "response 'continue'"},
                                         unasked{"NoContent", reply::no_content(), "response 'no content'"},
                                         unasked{"Blocked", reply::blocked("Other"), "response 'blocked'"},
                                         unasked{"Repaired", reply::repaired("healed"), "response 'repaired'"},
                                         unasked{"Error", reply::bare(500, "Error"), "response from server is 500"}),
                         [](const testing::TestParamInfo<unasked>& info) { return info.param.name; });

TEST_F(StrayAnswer, WhileTheRequestIsWrittenLeavesTheFirstVerdict)
{
    // The peer stops reading, so the request cannot end before both answers have been processed.
    const auto log = std::make_shared<test::log_capture>(500); // the peer may outlive the test
    serve(greeted()
              .expect(10)
              .send(reply::blocked("First"))
              .hold_until([log] { return log->contains("threat='First'"); })
              .send(reply::no_content())
              .hold_until([log] { return log->contains(clean_line); })
              .expect_until(body_end));
    open();
    mail.data = std::make_shared<test::string_data>(std::string(16 << 20, 'b'));
    EXPECT_EQ(scan_mail_now(), ScanResult::Blocked);
    EXPECT_NE(answer, nullptr);
    EXPECT_EQ(subject->threat(), "First");
    mail.data = std::make_shared<test::string_data>("body");
    EXPECT_TRUE(subject->is_invalid());
    EXPECT_TRUE(peer->complaints().empty());
}

TEST_F(StrayAnswer, ThatAsksForTheRestOfAMailDecidesNothingAndMakesTheSessionInvalid)
{
    serve(greeted().expect_until(body_end).send(reply::go_on()).wait().send(reply::blocked("Late")));
    open();
    EXPECT_EQ(scan_mail_now(), ScanResult::None);
    EXPECT_TRUE(subject->is_invalid());
    release_and_await("response 'blocked'");
    EXPECT_EQ(subject->threat(), "");
    expect_useless();
}

TEST_F(StrayAnswer, ThatAsksASecondTimeForTheRestMakesTheSessionInvalid)
{
    serve(
        greeted(4).expect_until(body_end).send(reply::go_on()).expect_until("efgh\r\n0\r\n\r\n").send(reply::go_on()));
    open();
    EXPECT_EQ(subject->scan(object), ScanResult::None);
    expect_useless();
}

TEST_F(StrayAnswer, ThatBeganAheadOfTheRequestFailsTheScanThatItEndsIn)
{
    const std::string stray = reply::no_content();
    serve(greeted().wait().send(stray.substr(0, 20)).expect_until(body_end).send(stray.substr(20)));
    open();
    {
        const test::log_capture log;
        peer->release();
        ASSERT_TRUE(has_delivered(log, 20));
    }
    const test::log_capture log;
    EXPECT_EQ(scan_mail_now(), ScanResult::Clean);
    EXPECT_EQ(lines_with(log, clean_line, 1), 1);
    EXPECT_TRUE(log.contains(") mail request: '' failed: request failed: server reply with error"));
    EXPECT_FALSE(subject->answered());
    expect_useless();
}

TEST_F(StrayAnswer, AfterATimeOutDoesNotAnswerTheNextScan)
{
    serve(greeted().expect_until(body_end).wait().send(reply::blocked("Late")));
    open();
    mail.timeout = 50;
    EXPECT_EQ(scan_mail_now(), ScanResult::Clean);
    release_and_await("response 'blocked'");
    mail.timeout = 20000;
    expect_useless();
}

TEST_F(StrayAnswer, IsNotAVerdictBehindTheRequestForTheRest)
{
    const auto log = std::make_shared<test::log_capture>(500); // the peer may outlive the test
    auto script = greeted(4);
    for (int count = 0; count < 20; ++count) {
        const auto continued = [log, count] {
            const auto all = log->texts();
            return std::count_if(all.begin(), all.end(), [](const std::string& text) {
                       return text.find("response 'continue'") != std::string::npos;
                   }) > count;
        };
        // The verdict does not wait for the rest.
        script.expect_until(body_end)
            .send(reply::go_on())
            .hold_until(continued)
            .send(count % 2 == 0 ? reply::no_content() : reply::blocked("Early"))
            .expect_until("efgh\r\n0\r\n\r\n");
    }
    serve(std::move(script));
    open();
    for (int count = 0; count < 20; ++count) {
        ASSERT_EQ(subject->scan(object), count % 2 == 0 ? ScanResult::Clean : ScanResult::Blocked) << count;
        ASSERT_FALSE(subject->is_invalid());
    }
    EXPECT_TRUE(peer->complaints().empty());
}

TEST_F(StrayAnswer, GivesTheNextScanItsOwnVerdictOnAnotherSession)
{
    conversation spoilt = greeted().expect_until(body_end).send(reply::blocked("First"));
    spoilt.wait().send(reply::no_content());
    conversation fresh = greeted().expect_until(body_end).send(reply::blocked("Second"));
    fresh.expect_until(body_end).send(reply::no_content());
    std::vector<conversation> both;
    both.push_back(std::move(spoilt));
    both.push_back(std::move(fresh));
    serve(std::move(both));
    const auto pool = std::make_shared<session_manager>(
        session_manager_parameters{L"127.0.0.1", peer->port(), L"/webscan"}, 1, timing);
    const auto scan = [&] {
        const session_lease lease(pool);
        return lease->scan(mail, answer);
    };
    EXPECT_EQ(scan(), ScanResult::Blocked);
    release_and_await(clean_line);
    EXPECT_EQ(scan(), ScanResult::Blocked);
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(peer->connections(), 2U);
    EXPECT_TRUE(peer->complaints().empty());
}

} // namespace
