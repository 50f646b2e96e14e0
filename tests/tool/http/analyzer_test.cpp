#include "tests/support/every_split.h"
#include "tests/tool/http/http_text.h"
#include "tool/http/analyzer.h"
#include "tool/http/messages.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_view_literals;

using http::analyzer;
using http::head_status;
using test::extract_message;

void put(analyzer& target, std::string_view text)
{
    target.enqueue(text.data(), text.data() + text.size());
}

std::string left(analyzer& target)
{
    return test::text_of(target.take_cached());
}

http::generic_message& plain(http::message& message)
{
    return dynamic_cast<http::generic_message&>(message);
}

head_status classified(std::string_view text)
{
    analyzer target;
    return target.classify(text.data(), text.data() + text.size());
}

std::uint64_t length_of(std::string_view head, std::uint32_t request_method = 0)
{
    test::method_link link(request_method);
    const auto message = extract_message(head, &link);
    return message ? plain(*message).content_length() : 12345;
}

TEST(http_analyzer, makes_a_request_and_leaves_what_is_behind_it)
{
    analyzer target;
    put(target, "POST /x HTTP/1.1\r\nContent-Length: 3\r\n\r\nabcdef");
    const auto message = target.extract();
    ASSERT_TRUE(message);
    EXPECT_EQ(http::type_request, message->type());
    EXPECT_TRUE(message->complete());
    EXPECT_EQ("abc", test::stored_body(*message));
    EXPECT_EQ("POST /x HTTP/1.1\r\nContent-Length: 3\r\n\r\n", test::text_of(message->raw_head()));
    EXPECT_EQ("def", left(target));
}

TEST(http_analyzer, the_message_owns_its_head)
{
    analyzer target;
    put(target, "GET /x HTTP/1.1\r\nA: b\r\n\r\n");
    const auto message = target.extract();
    const auto& record = dynamic_cast<http::request_message&>(*message).record();
    const auto& head = message->raw_head();
    EXPECT_EQ(head.data(), record.method.data());
    EXPECT_LE(head.data(), record.fields.begin()->second.data());
    EXPECT_LT(record.fields.begin()->second.data(), head.data() + head.size());
}

TEST(http_analyzer, a_response_owns_its_head_even_if_that_has_not_ended)
{
    for (const std::string_view text : {"HTTP/1.1 200 OK\r\nA: b\r\n\r\n"sv, "HTTP/1.1 200 OK\r\nA: b\r\nC: d"sv}) {
        analyzer target;
        put(target, text);
        const auto message = target.extract(true);
        ASSERT_TRUE(message);
        const auto& record = dynamic_cast<http::response_message&>(*message).record();
        const auto& head = message->raw_head();
        EXPECT_EQ(head.data(), record.protocol.data());
        // A line that has not ended is not part of the head.
        ASSERT_EQ(1U, record.fields.size());
        EXPECT_EQ(head.data() + text.find("b\r\n"), record.fields.at("A").data());
    }
}

TEST(http_analyzer, the_split_of_the_input_makes_no_difference)
{
    const std::string wire = "\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 5\r\nA: b\r\n\r\nhello";
    test::every_split(wire, [](const test::pieces& pieces) {
        analyzer target;
        std::unique_ptr<http::message> message;
        for (const std::string_view piece : pieces) {
            put(target, piece);
            if (message) {
                target.feed(*message);
            } else {
                message = target.extract();
            }
        }
        ASSERT_TRUE(message);
        EXPECT_TRUE(message->complete());
        EXPECT_EQ("hello", test::stored_body(*message));
        EXPECT_EQ("", left(target));
    });
}

TEST(http_analyzer, a_chunked_response_arrives_in_any_split)
{
    const std::string wire = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n1\r\n!\r\n0\r\n\r\n";
    test::every_split(wire, [](const test::pieces& pieces) {
        analyzer target;
        std::unique_ptr<http::message> message;
        for (const std::string_view piece : pieces) {
            put(target, piece);
            if (message) {
                target.feed(*message);
            } else {
                message = target.extract();
            }
        }
        ASSERT_TRUE(message);
        EXPECT_TRUE(message->complete());
        EXPECT_EQ("hello!", test::stored_body(*message));
    });
}

TEST(http_analyzer, a_chunked_request_takes_its_body_too)
{
    const auto message = extract_message("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n");
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->complete());
    EXPECT_EQ("abc", test::stored_body(*message));
}

TEST(http_analyzer, only_the_exact_word_chunked_wraps_the_message)
{
    const auto wrapped = [](const std::string& value) {
        const auto message = extract_message("HTTP/1.1 200 OK\r\nTransfer-Encoding: " + value + "\r\n\r\n");
        return dynamic_cast<http::chunked_message*>(message.get()) != nullptr;
    };
    EXPECT_TRUE(wrapped("chunked"));
    EXPECT_TRUE(wrapped("CHUNKED"));
    EXPECT_FALSE(wrapped("gzip, chunked"));
    EXPECT_FALSE(wrapped("chunked "));
    EXPECT_FALSE(wrapped(""));
}

TEST(http_analyzer, a_partial_head_stays_in_the_cache_whole)
{
    analyzer target;
    put(target, "\r\nHTTP/1.1 200 OK\r\nA: b");
    EXPECT_FALSE(target.extract());
    EXPECT_EQ("\r\nHTTP/1.1 200 OK\r\nA: b", left(target));
}

TEST(http_analyzer, a_partial_response_is_taken_only_when_accepted_and_with_a_header)
{
    EXPECT_FALSE(extract_message("HTTP/1.1 200 OK\r\nA: b\r\n", nullptr, false));
    EXPECT_FALSE(extract_message("HTTP/1.1 200 OK\r\n", nullptr, true));
    EXPECT_FALSE(extract_message("GET / HTTP/1.1\r\nA: b\r\n", nullptr, true));
    const auto message = extract_message("HTTP/1.1 200 OK\r\nA: b\r\n", nullptr, true);
    ASSERT_TRUE(message);
    EXPECT_EQ("b", test::header_of(*message, "A"));
    EXPECT_EQ("HTTP/1.1 200 OK\r\nA: b\r\n", test::text_of(message->raw_head()));
}

TEST(http_analyzer, an_invalid_response_behind_a_partial_request_waits)
{
    analyzer target;
    put(target, "GE");
    EXPECT_FALSE(target.extract());
    put(target, "T / HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(target.extract());
}

TEST(http_analyzer, an_unusual_method_is_a_request)
{
    test::method_link link(9);
    const auto message = extract_message("FOO /x HTTP/1.1\r\n\r\n", &link);
    ASSERT_TRUE(message);
    EXPECT_EQ(http::type_request, message->type());
    EXPECT_EQ(0U, link.get());
    EXPECT_EQ("FOO", dynamic_cast<http::request_message&>(*message).record().method);
    EXPECT_TRUE(extract_message("RPC_IN_DATA / HTTP/1.1\r\n\r\n", &link));
    EXPECT_EQ(0U, link.get());
    EXPECT_TRUE(extract_message("CCM_POST / HTTP/1.1\r\n\r\n", &link));
    EXPECT_EQ(51U, link.get());
    EXPECT_TRUE(extract_message("GETX / HTTP/1.1\r\n\r\n", &link));
    EXPECT_EQ(0U, link.get());
}

TEST(http_analyzer, a_partial_word_of_a_later_group_is_not_known)
{
    analyzer target;
    put(target, "PROPFIN");
    EXPECT_FALSE(target.extract());
    EXPECT_EQ("", left(target));
    EXPECT_EQ(head_status::invalid, classified("PROPFIN"));
    EXPECT_EQ(head_status::partial, classified("PATC"));
}

TEST(http_analyzer, garbage_is_dropped_up_to_the_next_request)
{
    analyzer target;
    std::string dropped;
    target.on_skipped([&](const char* begin, const char* end) { dropped.append(begin, end); });
    put(target, "\r\n#junk#GET / HTTP/1.1\r\n\r\n");
    EXPECT_TRUE(target.extract());
    EXPECT_EQ("\r\n#junk#", dropped);
    EXPECT_EQ("", left(target));
}

TEST(http_analyzer, garbage_is_dropped_up_to_the_next_response_where_no_request_starts)
{
    analyzer target;
    // No byte ahead of the response begins a method word, and no request begins behind it.
    put(target, "%%%%HTTP/1.1 200 OK\r\nA: b\r\n\r\n");
    std::string dropped;
    target.on_skipped([&](const char* begin, const char* end) { dropped.append(begin, end); });
    const auto message = target.extract();
    ASSERT_TRUE(message);
    EXPECT_EQ(http::type_response, message->type());
    EXPECT_EQ("%%%%", dropped);
}

TEST(http_analyzer, a_request_start_in_the_last_byte_is_garbage_too)
{
    analyzer target;
    put(target, "%%%G");
    EXPECT_FALSE(target.extract());
    EXPECT_EQ("", left(target));
    put(target, "%%%GE");
    EXPECT_FALSE(target.extract());
    EXPECT_EQ("GE", left(target));
}

TEST(http_analyzer, garbage_without_any_start_is_dropped_whole)
{
    analyzer target;
    put(target, "%%%%%%%%");
    EXPECT_FALSE(target.extract());
    EXPECT_EQ("", left(target));
}

TEST(http_analyzer, a_broken_header_line_behind_the_start_line_is_partial)
{
    analyzer target;
    put(target, "HTTP/1.1 200 OK\r\n:x\r\n\r\n");
    EXPECT_FALSE(target.extract());
    EXPECT_EQ("HTTP/1.1 200 OK\r\n:x\r\n\r\n", left(target));
}

TEST(http_analyzer, a_head_of_exactly_16640_bytes_is_read)
{
    const std::string start = "GET / HTTP/1.1\r\nA: ";
    const std::string text = start + std::string(16640 - start.size() - 4, 'x') + "\r\n\r\n";
    analyzer target;
    put(target, text);
    EXPECT_TRUE(target.extract());
    EXPECT_THROW(put(target, text + "y"), std::out_of_range);
}

TEST(http_analyzer, the_link_carries_the_method_from_request_to_response)
{
    test::method_link link;
    EXPECT_TRUE(extract_message("HEAD / HTTP/1.1\r\n\r\n", &link));
    EXPECT_EQ(3U, link.get());
    const auto response = extract_message("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n", &link);
    EXPECT_EQ(3U, dynamic_cast<http::response_message&>(*response).request_method());
    EXPECT_TRUE(response->complete());
    const auto unlinked = extract_message("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
    EXPECT_EQ(0U, dynamic_cast<http::response_message&>(*unlinked).request_method());
}

TEST(http_analyzer, set_tracker_returns_the_old_link_and_create_keeps_it)
{
    test::method_link first;
    test::method_link second;
    analyzer target(&first);
    EXPECT_EQ(&first, target.set_tracker(&second));
    const auto other = target.create();
    EXPECT_EQ(&second, other->set_tracker(nullptr));
    EXPECT_EQ(nullptr, other->set_tracker(&first));
}

TEST(http_body_length, comes_from_the_length_header)
{
    EXPECT_EQ(7U, length_of("POST / HTTP/1.1\r\nContent-Length: 7\r\n\r\n"));
    EXPECT_EQ(7U, length_of("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n"));
    EXPECT_EQ(7U, length_of("HTTP/1.1 204 No Content\r\nContent-Length: 7 bytes\r\n\r\n"));
    EXPECT_EQ(0U, length_of("HTTP/1.1 200 OK\r\nContent-Length: x\r\n\r\n"));
}

TEST(http_body_length, of_a_request_without_the_header_is_zero)
{
    EXPECT_EQ(0U, length_of("POST / HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(0U, length_of("POST / HTTP/1.1\r\nTransfer-Encoding: gzip\r\nContent-Length: 7\r\n\r\n"));
}

TEST(http_body_length, of_a_response_without_the_header_is_unknown)
{
    EXPECT_EQ(http::unknown_length, length_of("HTTP/1.1 200 OK\r\n\r\n"));
    EXPECT_EQ(http::unknown_length, length_of("HTTP/1.1 404 Not Found\r\n\r\n"));
    EXPECT_EQ(http::unknown_length, length_of("HTTP/1.1 099 Early\r\n\r\n"));
    EXPECT_EQ(http::unknown_length,
              length_of("HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip\r\nContent-Length: 7\r\n\r\n"));
}

TEST(http_body_length, of_a_response_that_has_no_body_is_zero)
{
    for (const std::string status : {"100", "199", "204", "304"}) {
        EXPECT_EQ(0U, length_of("HTTP/1.1 " + status + " X\r\n\r\n")) << status;
    }
}

TEST(http_body_length, of_a_response_to_head_is_zero_whatever_it_says)
{
    EXPECT_EQ(0U, length_of("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n", 3));
    EXPECT_EQ(0U, length_of("HTTP/1.1 200 OK\r\n\r\n", 3));
    EXPECT_EQ(7U, length_of("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n", 2));
}

TEST(http_body_length, of_the_answer_to_connect_is_zero)
{
    EXPECT_EQ(0U, length_of("HTTP/1.1 200 The Connection Established!\r\n\r\n"));
    EXPECT_EQ(7U, length_of("HTTP/1.1 200 Connection established\r\nContent-Length: 7\r\n\r\n"));
    EXPECT_EQ(http::unknown_length, length_of("HTTP/1.1 201 Connection established\r\n\r\n"));
}

TEST(http_classify, skips_line_ends_and_tells_of_requests_only)
{
    EXPECT_EQ(head_status::complete, classified("\r\n\nGET / HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(head_status::partial, classified("GET / HT"));
    EXPECT_EQ(head_status::partial, classified("g"));
    EXPECT_EQ(head_status::invalid, classified("HTTP/1.1 200 OK\r\n\r\n"));
    EXPECT_EQ(head_status::invalid, classified(""));
}

TEST(http_classify, an_unusual_method_is_complete_only_with_a_known_id)
{
    EXPECT_EQ(head_status::complete, classified("CCM_POST / HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(head_status::complete, classified("BITS_POST / HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(head_status::invalid, classified("FOO / HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(head_status::invalid, classified("RPC_CONNECT / HTTP/1.1\r\n\r\n"));
}

} // namespace
