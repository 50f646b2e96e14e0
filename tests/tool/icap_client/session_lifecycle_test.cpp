#include "tests/tool/icap_client/session_fixture.h"
#include "tool/icap_client/session_impl.h"
#include "tool/system/errors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

namespace reply = test::reply;
using namespace icap::client;
using test::conversation;
using test::greeted;
using texts = std::vector<std::string>;

class SessionLifecycle : public test::session_fixture
{
protected:
    std::string failure()
    {
        try {
            open();
        } catch (const std::exception& problem) {
            return problem.what();
        }
        return "nothing was raised";
    }
    /// Returns true as soon as the session is invalid; false if it does not become so for a long time.
    bool becomes_invalid()
    {
        for (int attempt = 0; attempt < 3000; ++attempt) {
            if (subject->is_invalid()) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
};

TEST_F(SessionLifecycle, ConstructionConnectsAndAsksForOptions)
{
    serve(greeted(7));
    open();
    EXPECT_EQ(peer->received(0), options_text());
    EXPECT_EQ(subject->preview_size(), 7U);
    EXPECT_EQ(subject->istag(), "\"T-1\"");
    EXPECT_FALSE(subject->is_invalid());
    EXPECT_FALSE(subject->is_closed());
}

TEST_F(SessionLifecycle, LogsEachStepOfItsConstruction)
{
    serve(greeted(7));
    const test::log_capture log;
    open();
    EXPECT_EQ(lines(log),
              (texts{"500 S creating", test::joined({"500 try to connected '", url(), "'"}),
                     test::joined({"500 connected to '", url(), "'"}), "500 S send OPTIONS request",
                     "500 S send request and wait reply",
                     "500 S request options has been completed: istag=\"T-1\", preview bytes=7", "500 S created"}));
}

TEST_F(SessionLifecycle, ARefusedConnectionRaisesTheSocketsError)
{
    serve(std::vector<conversation>{});
    const auto refused = target();
    peer.reset();
    const test::log_capture log;
    try {
        session_impl lost(refused, channel, timing, clock);
        FAIL();
    } catch (const error::win32exception& problem) {
        EXPECT_EQ(problem.code(), 10061U);
    }
    const auto all = log.texts("icapclnt");
    ASSERT_EQ(all.size(), 3U);
    EXPECT_NE(all[2].find(") failed: winapi error occured at source "), std::string::npos);
    EXPECT_TRUE(log.contains("error code 10061"));
}

TEST_F(SessionLifecycle, OptionsWithoutAnswerFailsTheConstruction)
{
    timing.options_answer = 100;
    serve(conversation{}.expect_until(test::options_marker));
    const test::log_capture log;
    EXPECT_EQ(failure(), "send request timeout occured");
    EXPECT_TRUE(log.contains(") failed: send request timeout occured"));
    EXPECT_TRUE(peer->wait_for_end(0));
}

TEST_F(SessionLifecycle, OptionsAnsweredWithAnErrorFailsTheConstruction)
{
    serve(conversation{}.expect_until(test::options_marker).send(reply::bare(500, "Error")));
    EXPECT_EQ(failure(), "request failed: server reply with error");
    EXPECT_TRUE(peer->wait_for_end(0));
}

TEST_F(SessionLifecycle, OptionsAnsweredByClosingFailsTheConstructionByItsTimeOut)
{
    timing.options_answer = 2000; // the close must be noticed within it
    serve(conversation{}.expect_until(test::options_marker).close());
    const test::log_capture log;
    EXPECT_EQ(failure(), "send request timeout occured");
    EXPECT_TRUE(log.contains(") network problem occured: 10058"));
}

TEST_F(SessionLifecycle, OptionsCutShortByClosingFailsTheConstruction)
{
    timing.options_answer = 100;
    const std::string answer = reply::options(3);
    serve(conversation{}.expect_until(test::options_marker).send(answer.substr(0, answer.size() - 1)).close());
    EXPECT_EQ(failure(), "send request timeout occured");
}

TEST_F(SessionLifecycle, OptionsAnsweredWithGarbageFailsTheConstruction)
{
    timing.options_answer = 100;
    serve(conversation{}.expect_until(test::options_marker).send("220 hello\r\n\r\n"));
    EXPECT_EQ(failure(), "send request timeout occured");
}

TEST_F(SessionLifecycle, ASilentPeerFailsTheConstruction)
{
    timing.options_answer = 50;
    serve(conversation{}.wait());
    EXPECT_EQ(failure(), "send request timeout occured");
}

TEST_F(SessionLifecycle, OptionsMayComeByteByByte)
{
    serve(conversation{}.expect_until(test::options_marker).send_bytewise(reply::options(31)));
    open();
    EXPECT_EQ(subject->preview_size(), 31U);
}

TEST_F(SessionLifecycle, AnErrorStatusWithMethodsIsAnOptionsAnswerAllTheSame)
{
    serve(conversation{}
              .expect_until(test::options_marker)
              .send("ICAP/1.0 500 Error\r\nMethods: REQMOD\r\nISTag: x\r\nPreview: 9\r\n"
                    "Encapsulated: null-body=0\r\n\r\n"));
    open();
    EXPECT_EQ(subject->preview_size(), 9U);
    EXPECT_EQ(subject->istag(), "x");
}

TEST_F(SessionLifecycle, PreviewZeroMakesEveryPreviewEmpty)
{
    serve(greeted(0));
    open();
    EXPECT_EQ(subject->preview_size(), 0U);
}

TEST_F(SessionLifecycle, AnAnswerWithoutPreviewMakesItZero)
{
    serve(conversation{}
              .expect_until(test::options_marker)
              .send("ICAP/1.0 200 OK\r\nMethods: REQMOD\r\nISTag: x\r\nEncapsulated: null-body=0\r\n\r\n"));
    open();
    EXPECT_EQ(subject->preview_size(), 0U);
}

TEST_F(SessionLifecycle, APeerThatClosesWhileIdleMakesItInvalidWithoutAnError)
{
    serve(greeted().wait().close());
    open();
    EXPECT_FALSE(subject->is_invalid());
    peer->release();
    ASSERT_TRUE(becomes_invalid());
    const test::log_capture log;
    EXPECT_TRUE(subject->is_invalid());
    EXPECT_EQ(lines(log), texts{"500 S invalid?:true, error?:false, idle=0"});
}

TEST_F(SessionLifecycle, APeerThatResetsWhileIdleMakesItInvalid)
{
    serve(greeted().wait().reset());
    open();
    peer->release();
    EXPECT_TRUE(becomes_invalid());
}

TEST_F(SessionLifecycle, AValidSessionSaysSo)
{
    serve(greeted());
    open();
    clock.advance_milliseconds(1234);
    const test::log_capture log;
    EXPECT_FALSE(subject->is_invalid());
    EXPECT_EQ(lines(log), texts{"500 S invalid?:false, error?:false, idle=1234"});
}

TEST_F(SessionLifecycle, CloseTellsItsStepsAndTwiceRaisesNothing)
{
    serve(greeted());
    open();
    const test::log_capture log;
    subject->close();
    subject->close();
    texts own;
    for (const auto& line : lines(log)) {
        if (line.find("network problem") == std::string::npos) {
            own.push_back(line);
        }
    }
    EXPECT_EQ(own, (texts{"500 S io canceled", "500 S closed", "500 S closed"}));
    EXPECT_TRUE(becomes_invalid());
    EXPECT_TRUE(subject->is_closed());
    EXPECT_TRUE(peer->wait_for_end(0));
}

TEST_F(SessionLifecycle, CloseTellsItsEndBehindTheSocket)
{
    serve(greeted());
    open();
    const test::log_capture log;
    subject->close();
    const auto all = log.texts();
    const auto place = [&all](std::string_view part) {
        return std::find_if(all.begin(), all.end(),
                            [part](const std::string& text) { return text.find(part) != std::string::npos; });
    };
    EXPECT_LT(place(") closed. assigned to channel = "), place(name() + " closed"));
    EXPECT_NE(place(name() + " closed"), all.end());
}

TEST_F(SessionLifecycle, DestructionClosesAndTellsIt)
{
    serve(greeted());
    open();
    const std::string own = name();
    const test::log_capture log;
    subject.reset();
    texts all;
    for (const auto& text : log.texts("icapclnt")) {
        if (text.find("network problem") == std::string::npos) {
            all.push_back(text);
        }
    }
    EXPECT_EQ(all, (texts{test::joined({own, " destroying"}), test::joined({own, " io canceled"}),
                          test::joined({own, " closed"}), test::joined({own, " destroyed"})}));
    EXPECT_TRUE(peer->wait_for_end(0));
}

TEST_F(SessionLifecycle, IdleCountsFromTheStartOfTheLastScan)
{
    serve(greeted());
    open();
    EXPECT_EQ(subject->idle(), 0U);
    clock.advance_milliseconds(61);
    EXPECT_EQ(subject->idle(), 61U);
    scan_object small;
    small.data = std::make_shared<test::string_data>("abc");
    subject->scan(small);
    EXPECT_EQ(subject->idle(), 0U);
}

TEST_F(SessionLifecycle, WhatIsNotImplementedRaises)
{
    serve(greeted());
    open();
    try {
        subject->send(nullptr, nullptr);
        FAIL();
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(), "session_impl::send(): not implemented");
    }
    try {
        static_cast<void>(subject->peer_name());
        FAIL();
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(), "session_impl::peer_name(): not implemented");
    }
    try {
        subject->send_certificate_continue({});
        FAIL() << "nothing was raised";
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(), "reqmod to check certificate is Not implemeted");
    }
}

TEST_F(SessionLifecycle, ANetworkProblemIsOnlyLogged)
{
    serve(greeted());
    open();
    const test::log_capture log;
    static_cast<web::socket::state&>(*subject).error(10054);
    EXPECT_EQ(lines(log), texts{"200 S network problem occured: 10054"});
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(SessionLifecycle, NothingIsLoggedWhenTheLogIsOff)
{
    serve(greeted());
    const test::log_capture log(0);
    open();
    subject->close();
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(SessionLifecycle, ASessionOutlivesAStoppedChannel)
{
    serve(greeted());
    open();
    channel.stop();
    subject.reset();
    EXPECT_TRUE(peer->wait_for_end(0));
}

TEST_F(SessionLifecycle, CloseShutsBothDirectionsDownAheadOfTheCancellation)
{
    const auto closed =
        std::make_shared<std::atomic<bool>>(false); // shared with the peer, which outlives this function
    serve(greeted().hold_until([closed] { return closed->load(); })); // the peer's own close must not cause the lines
    open();
    const test::log_capture log;
    subject->close();
    const auto all = log.lines();
    *closed = true;
    std::vector<std::string> own;
    for (const auto& line : all) {
        if (line.text.find(") shutdown(") != std::string::npos || line.text.find(" io canceled") != std::string::npos) {
            own.push_back(test::joined({std::to_string(line.level), line.text.substr(line.text.find(')'))}));
        }
    }
    EXPECT_EQ(own, (texts{"400) shutdown(send)", "200) shutdown(recv)", "500) io canceled"}));
}

} // namespace
