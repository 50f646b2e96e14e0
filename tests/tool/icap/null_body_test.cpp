#include "tests/tool/icap/icap_text.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

/// The end of the last head by a null-body entry.
namespace null_body_test {

using test::append;
using test::chunk;
using test::last_chunk;
using test::raised;

const std::string get_head = test::head({"GET http://host/a HTTP/1.1", "Host: host"});
const std::string page_head = test::head({"HTTP/1.1 200 OK", "Content-Length: 5"});
const std::string post_head = test::head({"POST http://host/a HTTP/1.1", "Content-Length: 5"});

std::string entry(const std::string& name, std::size_t offset)
{
    return ", " + name + "=" + std::to_string(offset);
}

TEST(null_body, counts_ahead_of_a_body_entry_at_a_smaller_offset)
{
    const std::string request_end = "Encapsulated: req-hdr=0, req-body=10" + entry("null-body", get_head.size());
    const auto reqmod = test::extract_request(test::reqmod({request_end}) + get_head);
    ASSERT_TRUE(reqmod);
    EXPECT_TRUE(reqmod->complete());
    const auto request_reply = test::extract_reply(test::reply(200, {request_end}) + get_head);
    ASSERT_TRUE(request_reply);
    EXPECT_TRUE(request_reply->complete());

    const auto page_reply = test::extract_reply(
        test::reply(200, {"Encapsulated: res-hdr=0, res-body=10" + entry("null-body", page_head.size())}) + page_head);
    ASSERT_TRUE(page_reply);
    EXPECT_TRUE(page_reply->complete());

    const auto respmod =
        test::extract_request(test::respmod({"Encapsulated: req-hdr=0" + entry("res-hdr", get_head.size()) +
                                             entry("res-body", get_head.size() + 10) +
                                             entry("null-body", get_head.size() + page_head.size())}) +
                              get_head + page_head);
    ASSERT_TRUE(respmod);
    EXPECT_TRUE(respmod->complete());
}

TEST(null_body, ends_the_head_of_a_response_counted_from_its_beginning)
{
    const auto reply =
        test::extract_reply(test::reply(200, {"Encapsulated: res-hdr=7" + entry("null-body", page_head.size() + 7)}));
    ASSERT_TRUE(reply);
    EXPECT_EQ(raised<std::runtime_error>([&] { append(*reply, page_head + "x"); }), "invalid state. body is completed");
    EXPECT_TRUE(reply->complete());

    // In a preview, the bytes behind the head of a null body are passed to the body.
    const auto request = test::extract_request(
        test::respmod({"Preview: 0", "Encapsulated: req-hdr=7" + entry("res-hdr", get_head.size() + 7) +
                                         entry("null-body", get_head.size() + page_head.size() + 7)}) +
        get_head + page_head);
    ASSERT_TRUE(request && request->complete());
    append(*request, chunk("hello") + last_chunk);
    EXPECT_TRUE(request->complete());
    EXPECT_EQ(test::body_of(request->response()), "hello");
}

TEST(null_body, ends_the_head_of_a_request_counted_from_its_beginning)
{
    const auto reply =
        test::extract_reply(test::reply(200, {"Encapsulated: req-hdr=7" + entry("null-body", post_head.size() + 7)}));
    ASSERT_TRUE(reply);
    EXPECT_EQ(raised<std::runtime_error>([&] { append(*reply, post_head + "x"); }), "invalid state. body is completed");
}

} // namespace null_body_test
