#include "tests/tool/http/http_text.h"
#include "tool/http/header_table.h"
#include "tool/http/messages.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace header_table_test {

using test::extract_message;
using test::header_of;
using test::text_of;

std::string head_of(http::message& message)
{
    return text_of(message.raw_head());
}

std::unique_ptr<http::message> response()
{
    return extract_message("HTTP/1.1 200 OK\r\nB: 2\r\na:  1\r\nContent-Length: 0\r\n\r\n");
}

std::string entries(http::message& message)
{
    std::string text;
    const auto walk = message.headers().enumerator();
    while (!walk->at_end()) {
        const auto [name, value] = walk->current();
        text += name + "=" + value + ";";
        EXPECT_TRUE(walk->next());
    }
    EXPECT_FALSE(walk->next());
    EXPECT_EQ(std::pair(std::string(), std::string()), walk->current());
    return text;
}

template <typename Action>
std::string failure_text(Action&& action)
{
    try {
        action();
    } catch (const std::runtime_error& failure) {
        return failure.what();
    }
    return "(nothing raised)";
}

TEST(message_headers, get_finds_a_name_in_any_case_and_gives_null_for_an_absent_one)
{
    const auto message = response();
    EXPECT_EQ("1", header_of(*message, "A"));
    EXPECT_EQ("(absent)", header_of(*message, "C"));
}

TEST(message_headers, add_inserts_an_absent_name_and_rebuilds_the_head_sorted)
{
    const auto message = response();
    EXPECT_TRUE(message->headers().add("Aa", "new"));
    EXPECT_EQ("HTTP/1.1 200 OK\r\na: 1\r\nAa: new\r\nB: 2\r\nContent-Length: 0\r\n\r\n", head_of(*message));
}

TEST(message_headers, add_of_a_present_name_returns_false_and_leaves_the_head_alone)
{
    const auto message = response();
    const std::string before = head_of(*message);
    EXPECT_FALSE(message->headers().add("b", "new"));
    EXPECT_EQ(before, head_of(*message));
}

TEST(message_headers, remove_tells_whether_the_name_was_there)
{
    const auto message = response();
    const std::string before = head_of(*message);
    EXPECT_FALSE(message->headers().remove("C"));
    EXPECT_EQ(before, head_of(*message));
    EXPECT_TRUE(message->headers().remove("b"));
    EXPECT_EQ("HTTP/1.1 200 OK\r\na: 1\r\nContent-Length: 0\r\n\r\n", head_of(*message));
}

TEST(message_headers, set_replaces_or_inserts_and_always_rebuilds)
{
    const auto message = response();
    message->headers().set("A", "x");
    message->headers().set("New", "");
    EXPECT_EQ("HTTP/1.1 200 OK\r\nA: x\r\nB: 2\r\nContent-Length: 0\r\nNew: \r\n\r\n", head_of(*message));
    EXPECT_EQ("", header_of(*message, "new"));
}

TEST(message_headers, set_takes_a_value_that_lies_in_the_head_itself)
{
    const auto message = response();
    auto& typed = dynamic_cast<http::response_message&>(*message);
    message->headers().set(typed.record().fields.find("b")->first, typed.record().fields.find("b")->second);
    EXPECT_EQ("2", header_of(*message, "B"));
}

TEST(message_headers, replace_changes_name_and_value)
{
    const auto message = response();
    message->headers().replace("a", "Z", "9");
    EXPECT_EQ("B=2;Content-Length=0;Z=9;", entries(*message));
}

TEST(message_headers, replace_keeps_a_new_name_that_is_there_already)
{
    const auto message = response();
    message->headers().replace("a", "B", "9");
    EXPECT_EQ("B=2;Content-Length=0;", entries(*message));
}

TEST(message_headers, replace_inserts_even_when_the_old_name_is_absent)
{
    const auto message = response();
    message->headers().replace("none", "Z", "9");
    EXPECT_EQ("9", header_of(*message, "z"));
}

TEST(message_headers, replace_that_changes_nothing_leaves_the_head_alone)
{
    const auto message = response();
    const std::string before = head_of(*message);
    message->headers().replace("none", "B", "9");
    EXPECT_EQ(before, head_of(*message));
}

TEST(message_headers, the_enumerator_walks_in_order_of_names)
{
    EXPECT_EQ("a=1;B=2;Content-Length=0;", entries(*response()));
}

TEST(message_headers, a_value_that_breaks_the_grammar_raises_and_leaves_table_changed_and_head_old)
{
    const auto message = response();
    const std::string before = head_of(*message);
    EXPECT_EQ("header_traits<http::response_data>::assemble: failed",
              failure_text([&] { message->headers().add(std::string("Bad"), std::string("a\r\n:b")); }));
    EXPECT_EQ(before, head_of(*message));
    EXPECT_EQ("a\r\n:b", header_of(*message, "bad"));
    // The table is valid again after the value was removed.
    EXPECT_TRUE(message->headers().remove("Bad"));
    EXPECT_EQ("HTTP/1.1 200 OK\r\na: 1\r\nB: 2\r\nContent-Length: 0\r\n\r\n", head_of(*message));
}

TEST(message_headers, a_broken_request_raises_the_text_of_requests)
{
    const auto message = extract_message("GET /a b HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ("header_traits<http::request_data>::assemble: failed",
              failure_text([&] { message->headers().set("Bad", "a\rb"); }));
}

TEST(message_headers, a_request_is_rebuilt_with_its_start_line)
{
    const auto message = extract_message("GET  /a b\tHTTP/1.1\nHost: h\nAccept:x\n\n");
    ASSERT_TRUE(message);
    message->headers().set("Host", "other");
    EXPECT_EQ("GET /a b HTTP/1.1\r\nAccept: x\r\nHost: other\r\n\r\n", head_of(*message));
    const auto& record = dynamic_cast<http::request_message&>(*message).record();
    EXPECT_EQ("/a b", record.uri);
    EXPECT_EQ(message->raw_head().data(), record.method.data());
}

TEST(message_headers, an_unusual_request_is_rebuilt_as_http)
{
    const auto message = extract_message("FOO /x HTTP/1.1\r\nHost: h\r\n\r\n");
    ASSERT_TRUE(message);
    EXPECT_TRUE(message->headers().add("A", "b"));
    EXPECT_EQ("FOO /x HTTP/1.1\r\nA: b\r\nHost: h\r\n\r\n", head_of(*message));
    EXPECT_TRUE(message->headers().remove("A"));
    EXPECT_EQ("FOO /x HTTP/1.1\r\nHost: h\r\n\r\n", head_of(*message));
}

TEST(message_headers, a_header_of_a_head_that_the_request_rules_refuse_still_raises)
{
    const auto message = extract_message("FOO /x HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ("header_traits<http::request_data>::assemble: failed",
              failure_text([&] { message->headers().set("Bad", "a\r\n:b"); }));
}

TEST(header_traits, a_status_of_less_than_three_digits_cannot_be_written_back)
{
    const auto message = extract_message("HTTP/1.1 099 X\r\nContent-Length: 0\r\n\r\n");
    ASSERT_TRUE(message);
    EXPECT_EQ("header_traits<http::response_data>::assemble: failed",
              failure_text([&] { message->headers().set("A", "b"); }));
}

TEST(header_traits, one_template_writes_icap_heads_too)
{
    const auto request = test::parse<http::request_data>(&http::parse_icap_request,
                                                         "REQMOD icap://h/s ICAP/1.0\r\nB: 2\r\nA: 1\r\n\r\n");
    http::byte_vector buffer;
    const auto again =
        http::header_traits<http::request_data>::assemble(request->record, buffer, &http::parse_icap_request);
    EXPECT_EQ("REQMOD icap://h/s ICAP/1.0\r\nA: 1\r\nB: 2\r\n\r\n", text_of(buffer));
    EXPECT_EQ(buffer.data(), again.method.data());

    const auto response =
        test::parse<http::response_data>(&http::parse_icap_response, "ICAP/1.0 204 No Content\r\nB: 2\r\n\r\n");
    http::header_traits<http::response_data>::assemble(response->record, buffer, &http::parse_icap_response);
    EXPECT_EQ("ICAP/1.0 204 No Content\r\nB: 2\r\n\r\n", text_of(buffer));
}

TEST(header_traits, a_grammar_of_the_other_protocol_refuses)
{
    const auto request =
        test::parse<http::request_data>(&http::parse_icap_request, "REQMOD icap://h/s ICAP/1.0\r\n\r\n");
    http::byte_vector buffer;
    EXPECT_EQ("header_traits<http::request_data>::assemble: failed", failure_text([&] {
                  http::header_traits<http::request_data>::assemble(request->record, buffer, &http::parse_http_request);
              }));
}

TEST(message_headers, replace_that_only_removes_rebuilds_the_head)
{
    const auto message = response();
    message->headers().replace("a", "B", "9");
    EXPECT_EQ("HTTP/1.1 200 OK\r\nB: 2\r\nContent-Length: 0\r\n\r\n", head_of(*message));
}

TEST(message_headers, replace_that_only_inserts_rebuilds_the_head)
{
    const auto message = response();
    message->headers().replace("none", "Z", "9");
    EXPECT_EQ("HTTP/1.1 200 OK\r\na: 1\r\nB: 2\r\nContent-Length: 0\r\nZ: 9\r\n\r\n", head_of(*message));
}

} // namespace header_table_test
