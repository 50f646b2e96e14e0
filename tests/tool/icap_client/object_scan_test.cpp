#include "tests/tool/icap_client/session_fixture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

namespace reply = test::reply;
using namespace icap::client;
using namespace std::string_literals;
using test::conversation;
using test::greeted;
using test::joined;
using texts = std::vector<std::string>;

const std::string completed = "500 S request has been completed: response 'no content' with istag=\"T-1\"";

class ObjectScan : public test::session_fixture
{
protected:
    ObjectScan()
    {
        object.unused = "never sent";
        object.object_name = "thing.bin";
        object.timeout = 20000;
    }
    void set_object(std::string text)
    {
        data = std::make_shared<test::string_data>(std::move(text));
        object.data = data;
    }
    /// Returns the preview request for an object of `size` bytes.
    [[nodiscard]] std::string preview_wire(std::size_t size, const std::string& preview) const
    {
        const std::string get = "GET thing.bin HTTP/1.1\r\n\r\n";
        const std::string ok = joined({"HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: ",
                                       std::to_string(size), "\r\n\r\n"});
        return joined({"RESPMOD ", url(),
                       " ICAP/1.0\r\nHost: 127.0.0.1\r\nAllow: 204\r\nPreview: ", std::to_string(preview.size()),
                       "\r\nUser-Agent: Morvelane-Protection-Agent/1.0\r\nX-Client-IP: 127.0.0.1\r\n"
                       "Encapsulated: req-hdr=0, res-hdr=",
                       std::to_string(get.size()), ", res-body=", std::to_string(get.size() + ok.size()), "\r\n\r\n",
                       get, ok, preview.empty() ? "" : reply::hexadecimal(preview.size()), preview,
                       preview.empty() ? "" : "\r\n", "0\r\n\r\n"});
    }
    static std::string chunk(const std::string& bytes)
    {
        return joined({reply::hexadecimal(bytes.size()), "\r\n", bytes, "\r\n"});
    }
    /// Answers the preview with 100 and the rest with `answer`.
    void serve_continue(std::uint32_t preview, const std::string& answer)
    {
        serve(std::move(greeted(preview)
                            .expect_until("\r\n0\r\n\r\n")
                            .send(reply::go_on())
                            .expect_until("0\r\n\r\n")
                            .send(answer)));
        open();
    }
    ScanResult scan() { return subject->scan(object); }

    scan_object object;
    std::shared_ptr<test::string_data> data;
};

TEST_F(ObjectScan, OfThreeBytesCausesNoTraffic)
{
    serve(greeted(4));
    open();
    set_object("abc");
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(request(), "");
    EXPECT_EQ(lines(log), (texts{"500 S scan object 'thing.bin'",
                                 "500 S object 'thing.bin' skipped. size of object less then 4 bytes"}));
}

TEST_F(ObjectScan, OfFourBytesIsSent)
{
    serve(std::move(greeted(0).expect_until("\r\n0\r\n\r\n").send(reply::no_content())));
    open();
    set_object("abcd");
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(request(), preview_wire(4, ""));
}

TEST_F(ObjectScan, CleanOnItsPreviewSendsNothingMore)
{
    serve(std::move(greeted(4).expect_until("\r\n0\r\n\r\n").send(reply::no_content())));
    open();
    set_object("abcdefgh");
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(request(), preview_wire(8, "abcd"));
    EXPECT_EQ(lines(log), (texts{"500 S scan object 'thing.bin'", "500 S send RESPMOD request (preview) 'thing.bin'",
                                 "500 S read 4bytes from object 'thing.bin'", "500 S send request and wait reply",
                                 completed, "500 S object 'thing.bin' is clean. server returns 'no content'"}));
    object.data.reset();
    EXPECT_EQ(data.use_count(), 1);
}

TEST_F(ObjectScan, OfExactlyThePreviewSendsOnlyTheTerminatorAfterwards)
{
    serve_continue(8, reply::no_content());
    set_object("abcdefgh");
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(request(), joined({preview_wire(8, "abcdefgh"), "0\r\n\r\n"}));
    EXPECT_EQ(lines(log), (texts{"500 S scan object 'thing.bin'", "500 S send RESPMOD request (preview) 'thing.bin'",
                                 "500 S read 8bytes from object 'thing.bin'", "500 S send request and wait reply",
                                 "500 S request preview has been completed: response 'continue' with istag=\"T-1\"",
                                 "500 S send RESPMOD request (continue) 'thing.bin'", completed,
                                 "500 Sobject 'thing.bin' scanned with result 1"}));
}

TEST_F(ObjectScan, OfOneBlockBeyondThePreviewSendsOneChunk)
{
    serve_continue(31, reply::no_content());
    const std::string preview(31, 'p');
    const std::string rest(8192, 'r');
    set_object(preview + rest);
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(request() == joined({preview_wire(8223, preview), chunk(rest), "0\r\n\r\n"}));
    EXPECT_NE(request().find("\r\n2000\r\n"), std::string::npos);
    texts sent;
    for (const auto& line : lines(log)) {
        if (line == "500 S send REQMOD request (preview) 'thing.bin'") {
            sent.push_back(line);
        }
    }
    EXPECT_EQ(sent.size(), 1U);
}

TEST_F(ObjectScan, OfOneByteMoreSendsTwoChunks)
{
    serve_continue(0, reply::no_content());
    set_object(std::string(8193, 'r'));
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(request() == joined({preview_wire(8193, ""), chunk(std::string(8192, 'r')), chunk("r"), "0\r\n\r\n"}));
}

TEST_F(ObjectScan, WithoutPreviewSendsTenBytesAsOneChunk)
{
    serve_continue(0, reply::no_content());
    set_object("0123456789");
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(request(), joined({preview_wire(10, ""), "a\r\n0123456789\r\n0\r\n\r\n"}));
}

TEST_F(ObjectScan, ShorterThanItsPreviewIsPaddedAndCleanAtOnce)
{
    serve(std::move(greeted(8).expect_until("\r\n0\r\n\r\n").send(reply::no_content())));
    open();
    set_object("abcd");
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(request(), preview_wire(4, "abcd\0\0\0\0"s));
}

TEST_F(ObjectScan, ShorterThanItsPreviewFailsAfterAContinue)
{
    serve(std::move(greeted(8).expect_until("\r\n0\r\n\r\n").send(reply::go_on())));
    open();
    set_object("abcd");
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(lines(log).back(),
              "200 S scan request failed: send_respmod_continue(): read bytes not equal requested bytes, object "
              "'thing.bin' skipped. scan result is cleaned");
    EXPECT_EQ(request(), preview_wire(4, "abcd\0\0\0\0"s));
    EXPECT_FALSE(subject->is_invalid()); // the error flag remains clear, although the request is not finished
}

TEST_F(ObjectScan, BlockedAfterTheContinue)
{
    serve_continue(4, reply::blocked("Bad"));
    set_object("abcdefgh");
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Blocked);
    EXPECT_EQ(request(), joined({preview_wire(8, "abcd"), "4\r\nefgh\r\n0\r\n\r\n"}));
    EXPECT_EQ(lines(log).back(), "500 Sobject 'thing.bin' scanned with result 2");
}

TEST_F(ObjectScan, BlockedOnThePreviewStillSendsTheRestAndAwaitsOneMoreAnswer)
{
    serve(std::move(greeted(4)
                        .expect_until("\r\n0\r\n\r\n")
                        .send(reply::blocked("Bad"))
                        .expect_until("0\r\n\r\n")
                        .send(reply::no_content())));
    open();
    set_object("abcdefgh");
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(request(), joined({preview_wire(8, "abcd"), "4\r\nefgh\r\n0\r\n\r\n"}));
}

TEST_F(ObjectScan, RepairedAfterTheContinueOverwritesTheObject)
{
    serve_continue(4, reply::repaired("mended"));
    set_object("abcdefgh");
    EXPECT_EQ(scan(), ScanResult::Repaired);
    EXPECT_EQ(data->text(), "mended");
    object.data.reset();
    EXPECT_EQ(data.use_count(), 1);
}

TEST_F(ObjectScan, NoAnswerToTheRestFailsOpen)
{
    serve(std::move(greeted(4).expect_until("\r\n0\r\n\r\n").send(reply::go_on()).expect_until("0\r\n\r\n")));
    open();
    set_object("abcdefgh");
    object.timeout = 150;
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(lines(log).back(), "200 S scan request failed: send_respmod_continue(): timeout occured, object "
                                 "'thing.bin' skipped. scan result is cleaned");
    EXPECT_TRUE(subject->is_invalid());
}

TEST_F(ObjectScan, AnErrorAnswerToTheRestFailsOpen)
{
    serve_continue(4, reply::bare(500, "Error"));
    set_object("abcdefgh");
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(lines(log).back(), "200 S scan request failed: request failed: server reply with error, object "
                                 "'thing.bin' skipped. scan result is cleaned");
    EXPECT_TRUE(subject->is_invalid());
}

TEST_F(ObjectScan, ContinueAndVerdictInOneReadEndInTheTimeOut)
{
    serve(std::move(greeted(4).expect_until("\r\n0\r\n\r\n").send(joined({reply::go_on(), reply::no_content()}))));
    open();
    set_object("abcdefgh");
    object.timeout = 150;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(subject->is_invalid());
}

TEST_F(ObjectScan, AnObjectThatRaisesFailsOpen)
{
    serve(greeted(4));
    open();
    set_object("abcdefgh");
    data->raise_on_read = true;
    const test::log_capture log;
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(lines(log).back(), "200 S scan request failed: the body cannot be read, object 'thing.bin' skipped. "
                                 "scan result is cleaned");
    EXPECT_EQ(request(), "");
    EXPECT_FALSE(subject->is_invalid());
}

TEST_F(ObjectScan, WithoutAnObjectFailsOpen)
{
    serve(greeted(4));
    open();
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_EQ(request(), "");
}

TEST_F(ObjectScan, ASmallObjectLeavesAnEarlierErrorAlone)
{
    serve(std::move(greeted(0).expect_until("\r\n0\r\n\r\n").send(reply::bare(500, "Error"))));
    open();
    set_object("abcdefgh");
    scan();
    ASSERT_TRUE(subject->is_invalid());
    set_object("abc");
    EXPECT_EQ(scan(), ScanResult::Clean);
    EXPECT_TRUE(subject->is_invalid());
}

} // namespace
