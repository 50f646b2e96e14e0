#include "tests/tool/http/http_text.h"
#include "tool/http/message_body.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

/// Appends until all is taken, as the message that owns a body does.
void feed_all(http::http_message_body& body, std::string_view text)
{
    while (!text.empty()) {
        text.remove_prefix(static_cast<std::size_t>(body.append(text.data(), text.data() + text.size())));
    }
}

TEST(preview_end, is_not_reached_by_a_larger_body_that_is_incomplete)
{
    const auto message = test::extract_message("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n");
    http::http_message_body body(*message, false, true, 2);
    feed_all(body, "3\r\nabc\r\n0\r\n\r\n");
    EXPECT_EQ(message->body_size(), 3U);
    EXPECT_FALSE(body.is_endoff_preview());
    feed_all(body, "1\r\nd\r\n");
    EXPECT_TRUE(body.is_endoff_preview());
}

TEST(preview_end, stays_marked_by_ieof_behind_a_later_last_chunk)
{
    const auto message = test::extract_message("HTTP/1.1 200 OK\r\n\r\n");
    http::http_message_body body(*message, false, true, 10);
    feed_all(body, "1\r\na\r\n0; ieof\r\n\r\n");
    EXPECT_TRUE(body.ieof());
    feed_all(body, "1\r\nb\r\n0\r\n\r\n");
    EXPECT_TRUE(body.ieof());
    EXPECT_TRUE(body.is_endoff_preview());
}

} // namespace
