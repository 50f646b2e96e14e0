#include "tests/tool/icap_client/parsed_http.h"
#include "tests/tool/icap_client/session_fixture.h"
#include "tool/icap_client/request_templates.h"

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

class HttpScan : public test::session_fixture
{
protected:
    void set_request(const std::string& body)
    {
        request_message = test::http_message(
            joined({"POST /upload HTTP/1.1\r\nContent-Length: ", std::to_string(body.size()), "\r\n\r\n"}));
        request_message->append(body.data(), body.data() + body.size());
        request_message->set_id(0xab);
        http_request.process_name = "p.exe";
        http_request.process_id = 7;
        http_request.request = request_message.get();
        http_request.timeout = 20000;
        http_response.request = request_message.get();
    }
    void set_response(const std::string& body)
    {
        response_message = test::http_message(
            joined({"HTTP/1.1 200 OK\r\nContent-Length: ", std::to_string(body.size()), "\r\n\r\n"}));
        response_message->append(body.data(), body.data() + body.size());
        response_message->set_id(0xcd);
        http_response.process_name = "p.exe";
        http_response.process_id = 7;
        http_response.response = response_message.get();
        http_response.timeout = 20000;
    }
    static std::string chunk(const std::string& bytes)
    {
        return joined({reply::hexadecimal(bytes.size()), "\r\n", bytes, "\r\n"});
    }
    [[nodiscard]] std::string reqmod(const std::string& preview) const
    {
        return build_reqmod_preview("127.0.0.1", "127.0.0.1", url(), http_request, preview);
    }
    [[nodiscard]] std::string respmod(const std::string& preview) const
    {
        return build_respmod_preview("127.0.0.1", "127.0.0.1", url(), http_response, preview);
    }
    void serve_preview(std::uint32_t preview, const std::string& text)
    {
        serve(std::move(greeted(preview).expect_until("\r\n0\r\n\r\n").send(text)));
        open();
    }
    void serve_continue(std::uint32_t preview, const std::string& text)
    {
        serve(std::move(
            greeted(preview).expect_until("\r\n0\r\n\r\n").send(reply::go_on()).expect_until("0\r\n\r\n").send(text)));
        open();
    }

    std::unique_ptr<http::message> request_message;
    std::unique_ptr<http::message> response_message;
    scan_http_request http_request;
    scan_http_response http_response;
    session::answer_ptr answer;
};

TEST_F(HttpScan, ARequestCleanOnItsPreview)
{
    serve_preview(4, reply::no_content());
    set_request("hello world");
    const test::log_capture log;
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::Clean);
    EXPECT_EQ(request(), reqmod("hell"));
    EXPECT_EQ(answer, nullptr);
    EXPECT_EQ(lines(log), (texts{"500 S scan http request msgId=0xab, process='p.exe', pid=7",
                                 "500 S send REQMOD request (preview) msgId=0xab", "500 S read 4bytes from msgId=0xab",
                                 "500 S send request and wait reply",
                                 "500 S request has been completed: response 'no content' with istag=\"T-1\"",
                                 "500 S scan http request msgId=0xab is clean. server returns 'no content'"}));
}

TEST_F(HttpScan, ARequestBlockedOnItsPreviewEndsThere)
{
    serve_preview(4, reply::blocked("Bad"));
    set_request("hello world");
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::Blocked);
    EXPECT_EQ(request(), reqmod("hell"));
    EXPECT_NE(answer, nullptr);
}

TEST_F(HttpScan, ARequestGoesOnBehindItsPreview)
{
    serve_continue(4, reply::no_content());
    set_request("hello world");
    const test::log_capture log;
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::Clean);
    EXPECT_EQ(request(), joined({reqmod("hell"), "7\r\no world\r\n0\r\n\r\n"}));
    EXPECT_EQ(lines(log),
              (texts{"500 S scan http request msgId=0xab, process='p.exe', pid=7",
                     "500 S send REQMOD request (preview) msgId=0xab", "500 S read 4bytes from msgId=0xab",
                     "500 S send request and wait reply",
                     "500 S request preview has been completed: response 'continue' with istag=\"T-1\"",
                     "500 S send REQMOD request (continue) msgId=0xab",
                     "500 S send REQMOD request (preview) msgId=0xab", "500 S send REQMOD request (preview) msgId=0xab",
                     "500 S request has been completed: response 'no content' with istag=\"T-1\"",
                     "500 S scan http request msgId=0xab scanned with result 1"}));
}

TEST_F(HttpScan, ALongRequestGoesInPiecesOf4096)
{
    serve_continue(10, reply::blocked("Bad"));
    const std::string body = std::string(10, 'p') + std::string(4096, 'a') + std::string(4096, 'b') + "end";
    set_request(body);
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::Blocked);
    EXPECT_NE(answer, nullptr);
    EXPECT_TRUE(request() == joined({reqmod(std::string(10, 'p')), chunk(std::string(4096, 'a')),
                                     chunk(std::string(4096, 'b')), chunk("end"), "0\r\n\r\n"}));
}

TEST_F(HttpScan, ARequestOfExactlyItsPreviewSendsOnlyTheTerminatorAfterwards)
{
    serve_continue(5, reply::no_content());
    set_request("hello");
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::Clean);
    EXPECT_EQ(request(), joined({reqmod("hello"), "0\r\n\r\n"}));
}

TEST_F(HttpScan, ARequestShorterThanItsPreviewIsPaddedAndHasNothingLeft)
{
    serve_continue(8, reply::no_content());
    set_request("hello");
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::Clean);
    EXPECT_EQ(request(), joined({reqmod("hello\0\0\0"s), "0\r\n\r\n"}));
}

TEST_F(HttpScan, ARequestWithoutPreviewGoesWholeAfterTheContinue)
{
    serve_continue(0, reply::no_content());
    set_request("hello");
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::Clean);
    EXPECT_EQ(request(), joined({reqmod(""), "5\r\nhello\r\n0\r\n\r\n"}));
}

TEST_F(HttpScan, ARequestWithoutAnswerToItsRestTellsUnderTheOtherName)
{
    serve(std::move(greeted(4).expect_until("\r\n0\r\n\r\n").send(reply::go_on()).expect_until("0\r\n\r\n")));
    open();
    set_request("hello world");
    http_request.timeout = 150;
    const test::log_capture log;
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::Clean);
    const auto all = lines(log);
    ASSERT_GE(all.size(), 2U);
    EXPECT_EQ(all[all.size() - 2], "200 S send REQMOD request (continue) msgId=0xab: timeout occured");
    EXPECT_EQ(all.back(), "200 S scan http request: send_respmod_continue(): timeout occured, object msgId=0xab "
                          "skipped. scan result is cleaned");
    EXPECT_TRUE(subject->is_invalid());
}

TEST_F(HttpScan, ARequestWhoseRestIsAnsweredWithAnError)
{
    serve_continue(4, reply::bare(500, "Error"));
    set_request("hello world");
    const test::log_capture log;
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::Clean);
    const auto all = lines(log);
    ASSERT_GE(all.size(), 2U);
    EXPECT_EQ(all[all.size() - 2], "200 S send REQMOD request (continue) msgId=0xab: server reply with error");
    EXPECT_EQ(all.back(), "200 S scan http request: request failed: server reply with error, object msgId=0xab "
                          "skipped. scan result is cleaned");
}

TEST_F(HttpScan, ARepairOfARequestDecidesNothing)
{
    serve_continue(4, reply::repaired("mended"));
    set_request("hello world");
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::None);
    EXPECT_NE(answer, nullptr);
}

TEST_F(HttpScan, AResponseCleanOnItsPreview)
{
    serve_preview(4, reply::no_content());
    set_request("");
    set_response("hello world");
    const test::log_capture log;
    EXPECT_EQ(subject->scan(http_response, answer), ScanResult::Clean);
    EXPECT_EQ(request(), respmod("hell"));
    EXPECT_EQ(lines(log), (texts{"500 S scan http response msgId=0xcd, process='p.exe', pid=7",
                                 "500 S send RESPMOD request (preview) msgId=0xcd", "500 S read 4bytes from msgId=0xcd",
                                 "500 S send request and wait reply",
                                 "500 S request has been completed: response 'no content' with istag=\"T-1\"",
                                 "500 S scan http response msgId=0xcd is clean. server returns 'no content'"}));
}

TEST_F(HttpScan, AResponseGoesOnBehindItsPreviewAndTellsItsAnswersAddress)
{
    serve_continue(4, reply::blocked("Bad"));
    set_request("");
    set_response("hello world");
    const test::log_capture log;
    EXPECT_EQ(subject->scan(http_response, answer), ScanResult::Blocked);
    EXPECT_EQ(request(), joined({respmod("hell"), "7\r\no world\r\n0\r\n\r\n"}));
    ASSERT_NE(answer, nullptr);
    const auto all = lines(log);
    EXPECT_EQ(all.back(), joined({"500 S scan http response msgId=0xcd scanned with result 2, mem=0x",
                                  reply::hexadecimal(reinterpret_cast<std::uintptr_t>(answer.get()))}));
    EXPECT_EQ(all[5], "500 S send RESPMOD request (continue) msgId=0xcd");
}

TEST_F(HttpScan, AResponseBlockedOnItsPreviewEndsThere)
{
    serve_preview(0, reply::blocked("Bad"));
    set_request("");
    set_response("hello world");
    EXPECT_EQ(subject->scan(http_response, answer), ScanResult::Blocked);
    EXPECT_EQ(request(), respmod(""));
    EXPECT_NE(answer, nullptr);
}

TEST_F(HttpScan, AResponseWithoutAnswerFailsOpen)
{
    serve(std::move(greeted(4).wait()));
    open();
    set_request("");
    set_response("hello world");
    http_response.timeout = 80;
    const test::log_capture log;
    EXPECT_EQ(subject->scan(http_response, answer), ScanResult::Clean);
    EXPECT_EQ(lines(log).back(), "200 S scan http response: send request timeout occured, object msgId=0xcd skipped. "
                                 "scan result is cleaned");
    EXPECT_TRUE(subject->is_invalid());
}

TEST_F(HttpScan, AChunkedResponseGoesAsTheTextOfAChunkedSender)
{
    // The text has its own end mark, ahead of the one that ends the request.
    serve(std::move(greeted(0)
                        .expect_until("\r\n0\r\n\r\n")
                        .send(reply::go_on())
                        .expect_until("0\r\n\r\n")
                        .expect_until("0\r\n\r\n")
                        .send(reply::no_content())));
    open();
    set_request("");
    response_message =
        test::http_message("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n");
    http_response.response = response_message.get();
    http_response.timeout = 20000;
    EXPECT_EQ(subject->scan(http_response, answer), ScanResult::Clean);
    EXPECT_EQ(request(), joined({respmod(""), "f\r\n5\r\nhello\r\n0\r\n\r\n\r\n0\r\n\r\n"}));
}

TEST_F(HttpScan, WithoutAMessageFailsOpen)
{
    serve(greeted(4));
    open();
    EXPECT_EQ(subject->scan(http_request, answer), ScanResult::Clean);
    EXPECT_EQ(subject->scan(http_response, answer), ScanResult::Clean);
    EXPECT_EQ(request(), "");
    EXPECT_FALSE(subject->is_invalid());
}

} // namespace
