#include "tests/tool/icap/icap_text.h"
#include "tool/web/io_data.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

/// A message whose store fails stays as it was before the bytes that failed, and takes them when they come again.
namespace failed_append_test {

using test::append;
using test::chunk;
using test::encapsulated;
using test::last_chunk;
using test::raised;

/// A body in a string; the first write to it fails.
class failing_store final : public web::io_data
{
public:
    std::uint64_t read(std::uint64_t offset, void* destination, std::uint64_t count) override
    {
        std::memcpy(destination, text_.data() + offset, count);
        return count;
    }
    std::uint64_t write(std::uint64_t, const void*, std::uint64_t) override { return 0; }
    std::uint64_t append(const void* source, std::uint64_t count) override
    {
        if (!failed_) {
            failed_ = true;
            throw std::runtime_error("disk is full");
        }
        text_.append(static_cast<const char*>(source), count);
        return count;
    }
    void swap(web::io_data&) override {}
    void size(std::uint64_t) override {}
    [[nodiscard]] std::uint64_t size() override { return text_.size(); }

private:
    std::string text_;
    bool failed_ = false;
};

/// The lengths of these bodies are not known ahead, so a new store does not change them.
const std::string post_head = test::head({"POST http://host/a HTTP/1.1", "Transfer-Encoding: chunked"});
const std::string page_head = test::head({"HTTP/1.1 200 OK"});
const std::string get_head = test::head({"GET http://host/a HTTP/1.1"});

/// `message` has read its heads; `part` is the HTTP message that takes the body.
void expect_second_chance(icap::message& message, http::message& part)
{
    part.set_body(std::make_unique<failing_store>());
    EXPECT_EQ(raised<std::runtime_error>([&] { append(message, "5\r\nhel"); }), "disk is full");
    EXPECT_FALSE(message.complete());
    const std::string again = chunk("hello") + last_chunk;
    EXPECT_EQ(append(message, again), again.size());
    EXPECT_TRUE(message.complete());
    EXPECT_EQ(test::body_of(part), "hello");
}

TEST(failed_append, leaves_a_request_as_it_was)
{
    const auto message = test::extract_request(test::reqmod({encapsulated(post_head, "", "req-body")}) + post_head);
    ASSERT_TRUE(message && message->has_request());
    expect_second_chance(*message, message->request());
}

TEST(failed_append, leaves_a_request_with_a_response_as_it_was)
{
    const auto message =
        test::extract_request(test::respmod({encapsulated(get_head, page_head, "res-body")}) + get_head + page_head);
    ASSERT_TRUE(message && message->has_response());
    expect_second_chance(*message, message->response());
}

TEST(failed_append, leaves_a_reply_as_it_was)
{
    const auto message = test::extract_reply(test::reply(200, {encapsulated("", page_head, "res-body")}) + page_head);
    ASSERT_TRUE(message && message->has_response());
    expect_second_chance(*message, message->response());
}

TEST(failed_append, leaves_a_reply_with_a_request_as_it_was)
{
    const auto message = test::extract_reply(test::reply(200, {encapsulated(post_head, "", "req-body")}) + post_head);
    ASSERT_TRUE(message && message->has_request());
    expect_second_chance(*message, message->request());
}

TEST(failed_append, in_the_middle_of_a_chunk_leaves_the_bytes_ahead_of_it)
{
    const auto message = test::extract_reply(test::reply(200, {encapsulated("", page_head, "res-body")}) + page_head);
    ASSERT_TRUE(message && message->has_response());
    append(*message, "5\r\n"); // the line alone
    message->response().set_body(std::make_unique<failing_store>());
    EXPECT_EQ(raised<std::runtime_error>([&] { append(*message, "hello\r\n"); }), "disk is full");
    const std::string again = "hello\r\n" + last_chunk;
    EXPECT_EQ(append(*message, again), again.size());
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::body_of(message->response()), "hello");
}

} // namespace failed_append_test
