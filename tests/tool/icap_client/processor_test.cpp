#include "tests/support/failing_new.h"
#include "tests/support/log_capture.h"
#include "tests/tool/icap_client/icap_replies.h"
#include "tests/tool/icap_client/recording_notifier.h"
#include "tool/icap_client/processor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

namespace reply = test::reply;
using icap::client::processor;
using icap::client::trace_provider;
using calls = std::vector<std::string>;

/// Passes each request to a recording notifier at once, and can fail before that.
class application final : public icap::application_process
{
public:
    void process_directly(const std::shared_ptr<icap::application_request>& request) override
    {
        directly = true;
        request->process(&heard);
        if (fail_once.exchange(false)) {
            throw std::runtime_error("the application failed");
        }
    }
    void process_asynchronously(const std::shared_ptr<icap::application_request>& request) override
    {
        asynchronously = true;
        ++processed;
        request->process(&heard);
        if (fail_once.exchange(false)) {
            throw std::runtime_error("the application failed");
        }
    }

    test::recording_notifier heard;
    std::atomic<bool> directly{false};
    std::atomic<bool> asynchronously{false};
    std::atomic<int> processed{0}; ///< asynchronous calls that have begun
    std::atomic<bool> fail_once{false};
};

class events final : public trace_provider
{
public:
    /// write() is also called while a test refuses allocations.
    events() { seen_.reserve(4096); }
    [[nodiscard]] bool enabled() const noexcept override { return on; }
    void write(std::uint16_t what, std::uint32_t id, std::uint32_t kind) noexcept override
    {
        const std::lock_guard guard(lock_);
        seen_.emplace_back(what, id, kind);
        changed_.notify_all();
    }
    using event = std::tuple<std::uint16_t, std::uint32_t, std::uint32_t>;
    std::vector<event> seen() const
    {
        const std::lock_guard guard(lock_);
        return seen_;
    }
    bool wait_for(std::size_t count)
    {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, std::chrono::seconds(60), [&] { return seen_.size() >= count; });
    }
    std::atomic<bool> on{true};

private:
    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::vector<event> seen_;
};

class nothing final : public icap::application_request
{
public:
    void process(icap::response_notifier*) override { ++processed; }
    void process(web::antivirus_service2*) override {}
    int processed = 0;
};

class Processor : public testing::Test
{
protected:
    Processor() { subject.set_application(&app); }
    void feed(const std::string& bytes) { subject.input(bytes.data(), bytes.data() + bytes.size()); }
    /// Waits until all bytes fed before have been handled: the call that arrives afterwards is the answer to a marker.
    calls after(std::size_t count)
    {
        feed(reply::no_content("\"marker\""));
        EXPECT_TRUE(app.heard.wait_for(count + 1));
        calls all = app.heard.calls();
        if (!all.empty() && all.back() == "no content \"marker\"") {
            all.pop_back();
        }
        return all;
    }

    application app;
    events trace;
    processor subject{nullptr, trace};
};

TEST_F(Processor, FiresOneCallbackForAnAnswer)
{
    feed(reply::no_content());
    ASSERT_TRUE(app.heard.wait_for(1));
    EXPECT_EQ(after(1), calls{"no content \"T-1\""});
    EXPECT_TRUE(app.asynchronously);
    EXPECT_FALSE(app.directly);
}

TEST_F(Processor, RunsCallbacksOnAnotherThreadThanTheOneThatBringsBytes)
{
    feed(reply::no_content());
    ASSERT_TRUE(app.heard.wait_for(1));
    EXPECT_NE(app.heard.threads().front(), std::this_thread::get_id());
}

TEST_F(Processor, AssemblesAnAnswerThatComesByteByByte)
{
    for (const char byte : reply::blocked("Some.Name")) {
        feed(std::string(1, byte));
    }
    ASSERT_TRUE(app.heard.wait_for(1));
    EXPECT_EQ(after(1), calls{"blocked \"T-1\" Some.Name"});
}

TEST_F(Processor, AssemblesAnAnswerCutAtEveryByte)
{
    const std::string answer = reply::repaired("healed");
    std::size_t expected = 0;
    for (std::size_t cut = 1; cut < answer.size(); ++cut) {
        feed(answer.substr(0, cut));
        feed(answer.substr(cut));
        ASSERT_TRUE(app.heard.wait_for(++expected)) << "cut at " << cut;
    }
    EXPECT_EQ(after(expected), calls(expected, "repaired \"T-1\""));
}

TEST_F(Processor, HandsAnswersOnInOrder)
{
    feed(reply::options(4, "\"a\""));
    ASSERT_TRUE(app.heard.wait_for(1));
    feed(reply::go_on("\"b\""));
    ASSERT_TRUE(app.heard.wait_for(2));
    feed(reply::bare(500, "Error"));
    ASSERT_TRUE(app.heard.wait_for(3));
    EXPECT_EQ(after(3), (calls{"options \"a\" 4 3", "continue \"b\"", "error response from server is 500"}));
}

TEST_F(Processor, FiresNothingForARequestFromTheService)
{
    feed("OPTIONS icap://x/y ICAP/1.0\r\nHost: x\r\n\r\n");
    EXPECT_EQ(after(0), calls{});
}

TEST_F(Processor, DropsWhatComesBehindARequestFromTheService)
{
    const std::string get = "GET / HTTP/1.1\r\n\r\n";
    for (const std::string& request :
         {std::string("OPTIONS icap://x/y ICAP/1.0\r\nHost: x\r\n\r\n"),
          test::joined({"REQMOD icap://x/y ICAP/1.0\r\nPreview: 0\r\nEncapsulated: req-hdr=0, null-body=",
                        std::to_string(get.size()), "\r\n\r\n", get})}) {
        const std::string answer = reply::no_content("\"behind\"");
        const calls before = app.heard.calls();
        feed(request + answer);
        feed(request + answer.substr(0, 30));
        EXPECT_EQ(after(before.size()), before) << request;
    }
}

TEST_F(Processor, FiresNothingForAnAnswerWithoutEncapsulated)
{
    feed("ICAP/1.0 204 No Content\r\nISTag: \"x\"\r\n\r\n");
    EXPECT_EQ(after(0), calls{});
}

TEST_F(Processor, FiresNothingForTwoAnswersInOneRead)
{
    feed(reply::no_content() + reply::no_content());
    EXPECT_EQ(after(0), calls{});
}

TEST_F(Processor, DropsGarbageAndTakesTheNextAnswer)
{
    feed("HELLO, WHO IS THERE?\r\n\r\n");
    EXPECT_EQ(after(0), calls{});
}

TEST_F(Processor, DropsBytesThatTheAnalyzerCannotHold)
{
    // A head that never ends: the second half no longer fits, so the first one remains and the next answer is read as
    // one more header line of it.
    feed(test::joined({"ICAP/1.0 204 No Content\r\nX-Long: ", std::string(9000, 'x')}));
    feed(std::string(9000, 'y'));
    feed("\r\nISTag: \"late\"\r\nEncapsulated: null-body=0\r\n\r\n");
    ASSERT_TRUE(app.heard.wait_for(1));
    EXPECT_EQ(app.heard.calls(), calls{"no content \"late\""});
}

TEST_F(Processor, CallsAgainForAnAnswerWhoseCallbackFailed)
{
    app.fail_once = true;
    feed(reply::no_content());
    ASSERT_TRUE(app.heard.wait_for(1));
    // The answer is still in the cache, so any later byte causes it to be processed again.
    feed("\r\n");
    ASSERT_TRUE(app.heard.wait_for(2));
    EXPECT_EQ(app.heard.calls(), (calls{"no content \"T-1\"", "no content \"T-1\""}));
}

TEST_F(Processor, TakesTheNextAnswerAfterAStepThatRanOutOfMemory)
{
    const std::string answer = reply::blocked("A", std::string(100, 'b'));
    std::size_t nth = 1;
    for (bool failed = true; failed; ++nth) {
        ASSERT_LT(nth, 1000U) << "a step never succeeds";
        {
            const int before = app.processed;
            const test::failing_new no_memory(nth, test::refusals::all_behind, test::failing_new::threads::others);
            feed(answer);
            while (!no_memory.failed() && app.processed == before) {
                std::this_thread::yield();
            }
            subject.set_application(&app); // returns after the end of the step
            failed = no_memory.failed();
        }
        subject.reset();
        const std::size_t next = app.heard.calls().size() + 1;
        feed(reply::no_content());
        ASSERT_TRUE(app.heard.wait_for(next)) << "without the allocation " << nth;
        EXPECT_EQ(app.heard.calls().back(), "no content \"T-1\"") << "without the allocation " << nth;
    }
    EXPECT_GT(nth, 10U);
}

TEST_F(Processor, LosesAnAnswerThatComesInOneReadBehindABody)
{
    // Header lines behind the end mark of a body are read as its trailers, even after a blank line.
    feed(reply::blocked("A") + reply::no_content("\"second\""));
    EXPECT_EQ(after(1), calls{"blocked \"T-1\" A"});
}

TEST_F(Processor, FiresLateForABodyThatWasOverfilledWhileItWasAssembled)
{
    const std::string answer = reply::blocked("A");
    feed(answer.substr(0, answer.size() - 3));
    feed(answer.substr(answer.size() - 3) + "ICAP");
    // The answer is whole, but the bytes behind it were refused, which ended that step.
    feed("\r\n");
    ASSERT_TRUE(app.heard.wait_for(1));
    EXPECT_EQ(app.heard.calls(), calls{"blocked \"T-1\" A"});
}

TEST_F(Processor, ResetForgetsAHalfAssembledAnswer)
{
    const std::string answer = reply::blocked("A", std::string(100, 'b'));
    feed(answer.substr(0, answer.size() - 50));
    ASSERT_TRUE(trace.wait_for(1)) << "the head of the answer has been taken";
    subject.reset();
    EXPECT_EQ(after(0), calls{});
}

TEST_F(Processor, TakesABodyOfManyReads)
{
    const std::string body(300000, 'q');
    const std::string answer = reply::repaired(body);
    for (std::size_t place = 0; place < answer.size(); place += 16384) {
        feed(answer.substr(place, 16384));
    }
    ASSERT_TRUE(app.heard.wait_for(1));
    EXPECT_EQ(app.heard.answer()->response().body_size(), body.size());
}

TEST_F(Processor, TakesABodyOfAnySize)
{
    const std::string body(processor::unparsed_limit * 8, 'q');
    const std::string answer = reply::repaired(body);
    for (std::size_t place = 0; place < answer.size(); place += 16384) {
        feed(answer.substr(place, 16384));
    }
    ASSERT_TRUE(app.heard.wait_for(1));
    EXPECT_EQ(app.heard.answer()->response().body_size(), body.size());
    EXPECT_FALSE(subject.has_failed());
}

class ProcessorLimit : public Processor, public testing::WithParamInterface<std::string>
{
protected:
    /// Feeds that many bytes, in pieces of the size of a read.
    void feed_pieces(std::size_t count)
    {
        std::string piece;
        while (piece.size() < 16000) {
            piece += GetParam();
        }
        for (std::size_t fed = 0; fed + piece.size() <= count; fed += piece.size()) {
            feed(piece);
        }
    }
};

TEST_P(ProcessorLimit, EndsTheConnectionWithOneError)
{
    EXPECT_THROW(
        {
            feed_pieces(processor::unparsed_limit * 2);
            ASSERT_TRUE(app.heard.wait_for(1));
            feed(reply::no_content());
        },
        std::runtime_error);
    EXPECT_TRUE(subject.has_failed());
    subject.stop();
    EXPECT_EQ(app.heard.calls(), calls{"error too many bytes without an answer"});
}

TEST_P(ProcessorLimit, CountsAnewBehindEachAnswer)
{
    for (std::size_t round = 1; round <= 3; ++round) {
        feed_pieces(processor::unparsed_limit - 20000);
        if (GetParam().starts_with("ICAP")) {
            feed("\r\nEncapsulated: null-body=0\r\n\r\n"); // the head that has not ended is one
        } else {
            feed(reply::no_content());
        }
        ASSERT_TRUE(app.heard.wait_for(round));
    }
    EXPECT_FALSE(subject.has_failed());
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, ProcessorLimit,
    testing::Values(std::string("garbage\r\n"), std::string("OPTIONS icap://x/y ICAP/1.0\r\nHost: x\r\n\r\n"),
                    test::joined({"ICAP/1.0 204 No Content\r\nX-Long: ", std::string(16000, 'x')})));

TEST_F(Processor, EndsTheConnectionForALineOfChunkedFramingWithoutEnd)
{
    const std::string answer = reply::blocked("A");
    feed(answer.substr(0, answer.size() - 7));
    EXPECT_THROW(
        {
            feed("\r\n1;");
            for (int count = 0; count < 5; ++count) {
                feed(std::string(16000, 'x'));
            }
            ASSERT_TRUE(app.heard.wait_for(1));
            feed(reply::no_content());
        },
        std::runtime_error);
    subject.stop();
    EXPECT_EQ(app.heard.calls(), calls{"error chunk line too long"});
}

TEST_F(Processor, StopEndsAllHandling)
{
    subject.stop();
    feed(reply::no_content());
    subject.stop();
    EXPECT_EQ(app.heard.calls(), calls{});
}

TEST_F(Processor, RefusesToProceed)
{
    try {
        subject.proceed();
        FAIL();
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(), "request proceed: not implemented");
    }
}

TEST_F(Processor, IsBusyWhileATransmitterLives)
{
    EXPECT_FALSE(subject.is_busy());
    auto first = subject.make_transmitter(7);
    const auto second = subject.make_transmitter(8);
    EXPECT_EQ(first->id(), 7U);
    EXPECT_EQ(first->session(), nullptr);
    first.reset();
    EXPECT_TRUE(subject.is_busy());
}

TEST_F(Processor, PassesDirectlyToTheFirstOperation)
{
    const auto request = std::make_shared<nothing>();
    subject.pass_date_to_processing_directly(request);
    EXPECT_TRUE(app.directly);
    EXPECT_FALSE(app.asynchronously);
    EXPECT_EQ(request->processed, 1);
}

TEST_F(Processor, PassesAsynchronouslyToTheSecondOperation)
{
    const auto request = std::make_shared<nothing>();
    subject.pass_date_to_processing_asynchronously(request);
    EXPECT_TRUE(app.asynchronously);
    EXPECT_FALSE(app.directly);
    EXPECT_EQ(request->processed, 1);
}

TEST(ProcessorWithoutApplication, RaisesOnBothWays)
{
    processor subject(nullptr);
    const auto request = std::make_shared<nothing>();
    try {
        subject.pass_date_to_processing_directly(request);
        FAIL();
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(), "pass_date_to_processing_directly: application process not initialized");
    }
    try {
        subject.pass_date_to_processing_asynchronously(request);
        FAIL();
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(), "pass_date_to_processing_asynchronously: application process not initialized");
    }
}

TEST(ProcessorWithoutApplication, KeepsAnAnswerUntilThereIsOne)
{
    application app;
    processor subject(nullptr);
    const std::string answer = reply::no_content();
    subject.input(answer.data(), answer.data() + answer.size());
    subject.set_application(&app);
    const std::string more = "\r\n";
    subject.input(more.data(), more.data() + more.size());
    ASSERT_TRUE(app.heard.wait_for(1));
    subject.stop();
    EXPECT_EQ(app.heard.calls().size(), 1U);
}

TEST(ProcessorLog, TellsItsMakingOnTheProtocolLogger)
{
    const test::log_capture log;
    const processor subject(nullptr);
    EXPECT_EQ(log.lines(), (std::vector<test::log_record>{{500, "icap", "client::processor creating"},
                                                          {500, "icap", "client::processor created"}}));
}

TEST(ProcessorTrace, TellsEachAnswerTwiceWhenEnabled)
{
    application app;
    events trace;
    processor subject(nullptr, trace);
    subject.set_application(&app);
    const std::string answer = reply::no_content();
    subject.input(answer.data(), answer.data() + answer.size());
    ASSERT_TRUE(app.heard.wait_for(1));
    subject.stop();
    const auto seen = trace.seen();
    ASSERT_EQ(seen.size(), 2U);
    const auto id = std::get<1>(seen[0]);
    EXPECT_NE(id, 0U);
    EXPECT_EQ(seen[0], events::event(1, id, icap::type_response));
    EXPECT_EQ(seen[1], events::event(2, id, icap::type_response));
}

TEST(ProcessorTrace, TellsNothingWhenNotEnabled)
{
    application app;
    events trace;
    trace.on = false;
    processor subject(nullptr, trace);
    subject.set_application(&app);
    const std::string answer = reply::no_content();
    subject.input(answer.data(), answer.data() + answer.size());
    ASSERT_TRUE(app.heard.wait_for(1));
    subject.stop();
    EXPECT_TRUE(trace.seen().empty());
}

TEST(ProcessorTrace, GivesEachMessageANumberOfItsOwn)
{
    application app;
    events trace;
    processor subject(nullptr, trace);
    subject.set_application(&app);
    const std::string answer = reply::no_content();
    for (std::size_t count = 1; count <= 2; ++count) {
        subject.input(answer.data(), answer.data() + answer.size());
        ASSERT_TRUE(app.heard.wait_for(count));
    }
    subject.stop();
    const auto seen = trace.seen();
    ASSERT_EQ(seen.size(), 4U);
    EXPECT_NE(std::get<1>(seen[0]), std::get<1>(seen[2]));
}

TEST(SystemTrace, TakesEventsWithoutHarm)
{
    auto& trace = icap::client::system_trace_provider();
    trace.write(trace_provider::message_received, 1, icap::type_response);
    EXPECT_EQ(&trace, &icap::client::system_trace_provider());
}

} // namespace
