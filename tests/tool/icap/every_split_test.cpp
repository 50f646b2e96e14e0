#include "tests/support/every_split.h"
#include "tests/tool/icap/icap_text.h"
#include "tool/icap/analyzer.h"

#include <gtest/gtest.h>

#include <optional>

/// Every whole message gives the same result, however the wire splits it.
namespace {

using test::chunk;
using test::encapsulated;
using test::last_chunk;

/// The visible properties of a message.
struct image
{
    std::string head;
    std::uint32_t type = 0;
    bool complete = false;
    std::string request_head;
    std::string request_body;
    std::string response_head;
    std::string response_body;

    bool operator==(const image&) const = default;
};

image look_at(icap::message& message)
{
    image seen;
    seen.head = test::text_of(message.raw_head());
    seen.type = message.type();
    seen.complete = message.complete();
    if (message.has_request()) {
        seen.request_head = test::text_of(message.request().raw_head());
        seen.request_body = test::body_of(message.request());
    }
    if (message.has_response()) {
        seen.response_head = test::text_of(message.response().raw_head());
        seen.response_body = test::body_of(message.response());
    }
    return seen;
}

void expect_same_for_every_split(const std::string& text)
{
    std::optional<image> first;
    test::every_split(text, [&](const test::pieces& pieces) {
        icap::analyzer analyzer;
        std::unique_ptr<icap::message> message;
        for (const std::string_view piece : pieces) {
            test::feed(analyzer, message, piece);
        }
        ASSERT_TRUE(message) << "pieces: " << pieces.size() << ", first of " << pieces.front().size();
        const image seen = look_at(*message);
        EXPECT_TRUE(seen.complete);
        EXPECT_TRUE(analyzer.take_cached().empty());
        if (!first) {
            first = seen;
        }
        EXPECT_TRUE(seen == *first) << "pieces: " << pieces.size() << ", first of " << pieces.front().size();
    });
    ASSERT_TRUE(first);
}

const std::string get_head = test::head({"GET http://host/a?b=c HTTP/1.1", "Host: host"});
const std::string post_head = test::head({"POST http://host/ HTTP/1.1", "Content-Length: 37"});
const std::string page_head = test::head({"HTTP/1.1 200 OK", "Content-Type: text/html", "Content-Length: 37"});
const std::string chunked_head = test::head({"HTTP/1.1 200 OK", "Transfer-Encoding: chunked"});
const std::string two_chunks = chunk("0123456789abcdef") + "15 ; name=\"value\"\r\n" + std::string(21, 'z') + "\r\n";

TEST(every_split, of_requests_for_options)
{
    expect_same_for_every_split("OPTIONS icap://127.0.0.1:1344/webscan ICAP/1.0\r\nHost: 127.0.0.1\r\n"
                                "User-Agent: agent/1.0\r\nEncapsulated: null-body=0\r\n\r\n");
}

TEST(every_split, of_mail_requests)
{
    expect_same_for_every_split(test::mail_request("hello world"));
    expect_same_for_every_split(test::mail_request(""));
    expect_same_for_every_split(test::reqmod({encapsulated(post_head, "", "req-body")}) + post_head + two_chunks +
                                last_chunk);
}

TEST(every_split, of_requests_with_a_null_body)
{
    expect_same_for_every_split(
        test::reqmod({"Allow: 204", "X-Health-Test: aGVhbHRo", encapsulated(get_head, "", "null-body")}) + get_head);
}

TEST(every_split, of_requests_about_responses)
{
    expect_same_for_every_split(test::respmod({encapsulated(get_head, page_head, "res-body")}) + get_head + page_head +
                                two_chunks + last_chunk);
    expect_same_for_every_split(test::respmod({encapsulated(get_head, page_head, "null-body")}) + get_head + page_head);
}

TEST(every_split, of_previews)
{
    expect_same_for_every_split(
        test::respmod({"Preview: 16", "Allow: 204", encapsulated(get_head, page_head, "res-body")}) + get_head +
        page_head + chunk("0123456789abcdef") + last_chunk);
    expect_same_for_every_split(test::reqmod({"Preview: 64", encapsulated(post_head, "", "req-body")}) + post_head +
                                chunk("0123") + "0; ieof\r\n\r\n");
}

TEST(every_split, of_replies_without_a_body)
{
    expect_same_for_every_split(test::reply(204, {"ISTag: \"t\"", "Encapsulated: null-body=0"}));
    expect_same_for_every_split("ICAP/1.0 100 Continue\nISTag: t\nEncapsulated: null-body=0\n\n");
    expect_same_for_every_split(
        test::reply(200, {"Methods: REQMOD, RESPMOD", "Preview: 4096", "Encapsulated: null-body=0 and more"}));
}

TEST(every_split, of_replies_behind_blank_lines)
{
    expect_same_for_every_split("\r\n\r\n" + test::reply(204, {"ISTag: \"t\"", "Encapsulated: null-body=0"}));
}

TEST(every_split, of_replies_with_a_page)
{
    expect_same_for_every_split(
        test::page_reply(200, "<html>blocked</html>", {"X-Infection-Found: Type=0;Resolution=2;Threat=X;"}));
    expect_same_for_every_split(test::page_reply(201, "repaired"));
    expect_same_for_every_split(test::reply(200, {encapsulated("", page_head, "null-body")}) + page_head);
    expect_same_for_every_split(test::reply(200, {encapsulated("", chunked_head, "res-body")}) + chunked_head +
                                two_chunks + last_chunk);
}

TEST(every_split, of_replies_with_a_request)
{
    expect_same_for_every_split(test::reply(200, {encapsulated(post_head, "", "req-body")}) + post_head + two_chunks +
                                last_chunk);
}

/// Trailers are read if they arrive in one piece with the last chunk. A cut within them leaves the body waiting,
/// because the last chunk's line is then read as a chunk of no bytes. The payload is the same in all cases.
TEST(every_split, of_bodies_with_trailers_keeps_the_payload)
{
    const std::string start = test::reply(200, {encapsulated("", page_head, "res-body")}) + page_head + two_chunks;
    const std::string text = start + "0\r\nX-Trailer: yes\r\n\r\n";
    const auto whole = test::extract(text);
    ASSERT_TRUE(whole);
    EXPECT_TRUE(whole->complete());
    test::every_split(text, [&](const test::pieces& pieces) {
        icap::analyzer analyzer;
        std::unique_ptr<icap::message> message;
        for (const std::string_view piece : pieces) {
            test::feed(analyzer, message, piece);
        }
        ASSERT_TRUE(message);
        EXPECT_EQ(test::body_of(message->response()), test::body_of(whole->response()));
        if (pieces.size() == 2 && pieces.front().size() <= start.size()) {
            EXPECT_TRUE(message->complete());
        }
    });
}

/// An incomplete head never makes a message.
TEST(every_split, of_beginnings_makes_nothing_ahead_of_the_end)
{
    const std::string text = test::reply(204, {"ISTag: \"t\"", "Encapsulated: null-body=0"});
    test::every_beginning(text, [&](std::string_view beginning) {
        icap::analyzer analyzer;
        analyzer.enqueue(beginning.data(), beginning.data() + beginning.size());
        EXPECT_EQ(analyzer.extract() != nullptr, beginning.size() == text.size());
        if (beginning.size() != text.size()) {
            EXPECT_EQ(test::text_of(analyzer.take_cached()), beginning);
        }
    });
}

/// Failures are also the same for every split: returns the text of the first exception.
std::string failure_of(const test::pieces& pieces)
{
    icap::analyzer analyzer;
    std::unique_ptr<icap::message> message;
    try {
        for (const std::string_view piece : pieces) {
            test::feed(analyzer, message, piece);
        }
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return "none";
}

TEST(every_split, of_broken_messages_fails_alike)
{
    const struct
    {
        std::string text;
        std::string failure;
    } cases[] = {
        {test::reply(204, {"ISTag: t"}), "Encapsulated tag missed"},
        {test::reply(204, {"Encapsulated: NULL-BODY=0"}), "Wrong format of Encapsulated tag "},
        {test::reply(200, {"Encapsulated: opt-body=0"}), "unknown type of body for response"},
        {test::reqmod({"Encapsulated: req-hdr=0, req-body=20"}) + post_head,
         "reqmod request: actual header size exceeded header size in request"},
        {test::reply(200, {"Encapsulated: res-hdr=0, res-body=20"}) + page_head,
         "inmemory_cache::append() failed: max size exceeded"},
    };
    for (const auto& broken : cases) {
        test::every_split(broken.text,
                          [&](const test::pieces& pieces) { EXPECT_EQ(failure_of(pieces), broken.failure); });
    }
}

} // namespace
