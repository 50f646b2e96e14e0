#include "tests/tool/icap/at_once.h"
#include "tests/tool/icap/icap_text.h"
#include "tool/http/messages.h"
#include "tool/web/io_memory.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// Every operation of an HTTP message beside one that changes what it uses. What is missing in a lock is a data race,
/// which ThreadSanitizer reports.
namespace http_locks_test {

using test::at_once;

const std::string long_page = test::head({"HTTP/1.1 200 OK", "Content-Length: 100000"});
const std::string chunked_page = test::head({"HTTP/1.1 200 OK", "Transfer-Encoding: chunked"});

void append(http::message& message, const std::string& bytes)
{
    message.append(bytes.data(), bytes.data() + bytes.size());
}

TEST(http_locks, hold_while_bytes_are_appended)
{
    const auto message = test::http_message(long_page);
    http::byte_vector text;
    const auto change = [&] { append(*message, "x"); };
    const std::vector<std::function<void()>> operations{
        [&] { EXPECT_FALSE(message->complete()); }, [&] { (void)message->body_size(); },
        [&] { (void)message->total_size(); }, [&] { EXPECT_TRUE(message->read(nullptr, text)); }, change};
    for (const auto& operation : operations) {
        at_once(operation, change);
    }
    EXPECT_EQ(test::body_of(*message), std::string(1200, 'x'));
    at_once([&] { message->update_length(); }, change);
    message->update_length();
    EXPECT_TRUE(message->complete());
}

TEST(http_locks, hold_while_the_body_is_replaced)
{
    const auto message = test::http_message(long_page);
    at_once([&] { message->set_body(std::make_unique<web::io_memory>(10)); }, [&] { (void)message->body_size(); });
    at_once([&] { message->set_body(std::make_unique<web::io_memory>(10)); }, [&] { (void)message->complete(); });
    EXPECT_EQ(message->body_size(), 0U);
    EXPECT_TRUE(message->complete());
}

TEST(http_locks, hold_for_the_attachment)
{
    for (const std::string& head : {long_page, chunked_page}) {
        const auto message = test::http_message(head);
        const auto thing = std::make_shared<int>(5);
        at_once([&] { message->attach(thing); }, [&] { (void)message->attachment(); });
        at_once([&] { message->attach(nullptr); }, [&] { message->attach(thing); });
        message->attach(thing);
        EXPECT_EQ(message->attachment(), thing);
    }
}

TEST(http_locks, hold_while_the_length_becomes_unknown)
{
    const auto message = test::http_message(long_page);
    auto& typed = dynamic_cast<http::generic_message&>(*message);
    at_once([&] { typed.mark_chunked(); }, [&] { EXPECT_FALSE(typed.complete()); });
    EXPECT_EQ(typed.content_length(), http::unknown_length);
}

class ChunkedLocks : public testing::Test
{
protected:
    std::unique_ptr<http::message> message = test::http_message(chunked_page);
    http::chunked_message& chunked = dynamic_cast<http::chunked_message&>(*message);
    http::byte_vector text;
};

TEST_F(ChunkedLocks, HoldWhileTheEndIsReached)
{
    bool value = false;
    const auto change = [&] { chunked.set_completed(value = !value); };
    at_once([&] { (void)chunked.complete(); }, change);
    at_once(change, [&] { chunked.set_completed(true); });
    chunked.set_completed(true);
    EXPECT_TRUE(chunked.complete());
}

TEST_F(ChunkedLocks, HoldWhilePayloadComesIn)
{
    const std::string bytes = "x";
    const auto change = [&] { chunked.input(bytes.data(), bytes.data() + bytes.size()); };
    at_once(change, change);
    at_once(change, [&] { chunked.set_completed(false); });
    EXPECT_EQ(chunked.chunks().size(), 600U);
    EXPECT_EQ(test::body_of(chunked), std::string(600, 'x'));
}

TEST_F(ChunkedLocks, HoldWhileChunksComeIn)
{
    const auto change = [&] {
        append(chunked, "1\r\nx");
        append(chunked, "\r\n0\r\nA: b\r\n\r\n");
        chunked.set_completed(false);
    };
    at_once([&] { (void)chunked.complete(); }, change);
    at_once([&] { EXPECT_TRUE(chunked.read(nullptr, text)); }, change);
    EXPECT_EQ(test::body_of(chunked), std::string(400, 'x'));
}

TEST_F(ChunkedLocks, HoldForTheMessageInside)
{
    at_once([&] { EXPECT_TRUE(chunked.read(nullptr, text)); }, [&] { chunked.headers().set("X-Other", "value"); });
    EXPECT_TRUE(chunked.read(nullptr, text));
    EXPECT_NE(test::text_of(text).find("\r\nX-Other: value\r\n"), std::string::npos);
}

} // namespace http_locks_test
