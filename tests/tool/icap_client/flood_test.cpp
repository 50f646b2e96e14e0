#include "tests/tool/icap_client/session_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace {

namespace reply = test::reply;
using namespace icap::client;
using test::conversation;
using test::greeted;
using test::joined;

/// A peer that sends without end what is no answer.
class Flood : public test::session_fixture, public testing::WithParamInterface<std::string>
{
protected:
    static std::string flood()
    {
        std::string text;
        while (text.size() < 4 * processor::unparsed_limit) {
            text += GetParam();
        }
        return text;
    }
};

TEST_P(Flood, MakesAnIdleSessionInvalid)
{
    serve(greeted().wait().send(flood()));
    open();
    EXPECT_FALSE(subject->is_invalid());
    peer->release();
    for (int attempt = 0; attempt < 3000 && !subject->is_invalid(); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(subject->is_invalid());
}

TEST_P(Flood, FailsTheScanThatWaitsAheadOfItsTimeOut)
{
    serve(greeted().expect_until("\r\n0\r\n\r\n").send(flood()));
    open();
    scan_mail mail;
    mail.data = std::make_shared<test::string_data>("body");
    mail.timeout = 300000; // longer than a test may take
    session::answer_ptr answer;
    const test::log_capture log;
    EXPECT_EQ(subject->scan(mail, answer), ScanResult::Clean);
    // The thread of the network may log the end of the connection before or behind it.
    EXPECT_THAT(lines(log),
                testing::Contains("200 S mail request: '' failed: request failed: server reply with error"));
    EXPECT_FALSE(subject->answered());
    EXPECT_TRUE(subject->is_invalid());
}

const std::string begun_answer = reply::blocked("A").substr(0, reply::blocked("A").size() - 7);

INSTANTIATE_TEST_SUITE_P(Bytes, Flood,
                         testing::Values(std::string("garbage\r\n"),
                                         std::string("OPTIONS icap://x/y ICAP/1.0\r\nHost: x\r\n\r\n"),
                                         joined({"ICAP/1.0 204 No Content\r\nX-Long: ", std::string(1 << 20, 'x')}),
                                         joined({begun_answer, "\r\n1;", std::string(1 << 20, 'x')})));

} // namespace
