#include "tests/tool/icap/icap_text.h"
#include "tool/icap/request_message.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace preview_test {

using test::append;
using test::chunk;
using test::encapsulated;
using test::extract_request;
using test::last_chunk;
using test::raised;

const std::string get_head = test::head({"GET http://host/a HTTP/1.1"});
const std::string post_head = test::head({"POST http://host/a HTTP/1.1", "Content-Length: 10"});
const std::string page_head = test::head({"HTTP/1.1 200 OK", "Content-Length: 10"});

std::string reqmod_preview(const std::string& tail)
{
    return test::reqmod({"Preview: 4", encapsulated(post_head, "", "req-body")}) + post_head + tail;
}

std::string respmod_preview(const std::string& tail)
{
    return test::respmod({"Preview: 4", encapsulated(get_head, page_head, "res-body")}) + get_head + page_head + tail;
}

TEST(preview, goes_on_behind_its_end_when_more_is_asked_for)
{
    for (const std::string& text :
         {reqmod_preview(chunk("0123") + last_chunk), respmod_preview(chunk("0123") + last_chunk)}) {
        const auto message = extract_request(text);
        ASSERT_TRUE(message);
        EXPECT_TRUE(message->complete());
        EXPECT_FALSE(message->is_endoff_preview());
        EXPECT_FALSE(message->more_preview_requested());
        message->more_preview_need();
        EXPECT_TRUE(message->more_preview_requested());
        EXPECT_FALSE(message->complete());
        EXPECT_TRUE(message->is_endoff_preview());
        append(*message, chunk("456789") + last_chunk);
        EXPECT_TRUE(message->complete());
        EXPECT_TRUE(message->is_endoff_preview());
        http::message& part = message->has_response() ? message->response() : message->request();
        EXPECT_EQ(test::body_of(part), "0123456789");
    }
}

TEST(preview, ends_with_the_mark_that_nothing_follows)
{
    const auto message = extract_request(reqmod_preview(chunk("0123") + "0; ieof\r\n\r\n"));
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->is_endoff_preview());
    EXPECT_EQ(raised<std::runtime_error>([&] { message->more_preview_need(); }),
              "more_preview_need: already end of preview");
    EXPECT_TRUE(message->more_preview_requested());
}

TEST(preview, is_at_its_end_when_the_whole_message_is_longer_and_there)
{
    const auto message = extract_request(reqmod_preview(chunk("0123456789") + last_chunk));
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->is_endoff_preview());
}

TEST(preview, is_not_at_its_end_when_the_whole_message_is_not_longer)
{
    const std::string head = test::head({"POST http://host/a HTTP/1.1", "Content-Length: 4"});
    const auto message = extract_request(test::reqmod({"Preview: 4", encapsulated(head, "", "req-body")}) + head +
                                         chunk("0123") + last_chunk);
    ASSERT_TRUE(message);
    EXPECT_FALSE(message->is_endoff_preview());
}

TEST(preview, is_not_at_its_end_before_the_body_exists)
{
    const auto message = extract_request(test::reqmod({"Preview: 4", encapsulated(post_head, "", "req-body")}));
    EXPECT_FALSE(message->is_endoff_preview());
    EXPECT_EQ(raised<std::runtime_error>([&] { message->more_preview_need(); }),
              "more_preview_need(): body does not exist");
}

TEST(preview, is_refused_where_there_is_none)
{
    const auto message = extract_request(test::mail_request("hello"));
    EXPECT_EQ(raised<std::runtime_error>([&] { message->more_preview_need(); }),
              "more_preview_need(): is not a preview mode");
    EXPECT_FALSE(message->more_preview_requested());
}

TEST(preview, is_for_methods_with_a_body_only)
{
    const auto options = extract_request("OPTIONS icap://h/ ICAP/1.0\r\nPreview: 0\r\n\r\n");
    EXPECT_EQ(raised<std::runtime_error>([&] { options->more_preview_need(); }),
              "more_preview_need(): unsupported request method");
    EXPECT_EQ(raised<std::runtime_error>([&] { (void)options->is_endoff_preview(); }),
              "is_endoff_preview(): unsupported request method");
}

/// The client's own form: the size of the preview chunk is directly ahead of its bytes, so it is not a chunk line until
/// a line end arrives.
TEST(preview, of_a_size_without_a_line_end_stays_an_open_line)
{
    const auto message = extract_request(reqmod_preview("4"
                                                        "wxyz\r\n"
                                                        "0\r\n\r\n"));
    ASSERT_TRUE(message);
    EXPECT_FALSE(message->complete());
}

TEST(preview, with_a_null_body_has_no_end_mark_and_is_complete)
{
    const auto message =
        extract_request(test::reqmod({"Preview: 0", encapsulated(get_head, "", "null-body")}) + get_head);
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->complete());
    EXPECT_TRUE(message->is_endoff_preview());
}

} // namespace preview_test
