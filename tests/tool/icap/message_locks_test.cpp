#include "tests/tool/icap/at_once.h"
#include "tests/tool/icap/icap_text.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

/// Every operation of an ICAP message beside one that changes what it uses. What is missing in a lock is a data race,
/// which ThreadSanitizer reports.
namespace message_locks_test {

using test::at_once;
using test::chunk;
using test::encapsulated;
using test::last_chunk;

const std::string page_head = test::head({"HTTP/1.1 200 OK", "Content-Length: 5"});
const std::string post_head = test::head({"POST http://host/a HTTP/1.1", "Transfer-Encoding: chunked"});

/// Calls an operation that the other thread may have made impossible.
template <class Call>
bool succeeds(Call call)
{
    try {
        call();
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

void expect_locked_headers(http::message_headers& table)
{
    const auto change = [&] { table.set("X-Other", "value"); };
    at_once([&] { table.add("X-Own", "1"); }, change);
    at_once([&] { table.remove("X-Own"); }, change);
    at_once([&] { table.replace("X-Own", "X-Own", "2"); }, change);
    at_once([&] { (void)table.enumerator(); }, change);
    at_once([&] { (void)table.get("X-Own"); }, change);
    at_once([&] { table.set("X-Own", "3"); }, change);
    const auto other = table.get("X-Other");
    const auto own = table.get("X-Own");
    ASSERT_TRUE(other && own);
    EXPECT_EQ(test::text_of(*other), "value");
    EXPECT_EQ(test::text_of(*own), "3");
}

TEST(message_locks, hold_for_the_headers_of_each_kind_of_message)
{
    expect_locked_headers(test::extract_reply(test::page_reply(200, "hello"))->headers());
    expect_locked_headers(test::extract_request(test::mail_request("hello"))->headers());
    expect_locked_headers(test::http_message(page_head)->headers());
    expect_locked_headers(test::http_message(post_head)->headers());
}

TEST(message_locks, hold_while_a_message_is_set)
{
    const auto message = test::extract_reply(test::reply(200, {"Encapsulated: null-body=0"}));
    const auto change = [&] { message->set_encapsulated(test::http_message(page_head + "hello")); };
    const std::vector<std::function<void()>> operations{[&] { (void)message->has_request(); },
                                                        [&] { (void)message->has_response(); },
                                                        [&] { (void)succeeds([&] { (void)message->response(); }); },
                                                        [&] { (void)message->complete(); },
                                                        [&] { (void)message->encapsulated(); },
                                                        [&] { (void)message->reader(); },
                                                        change};
    for (const auto& operation : operations) {
        at_once(operation, change);
    }
    EXPECT_EQ(test::body_of(message->response()), "hello");
    EXPECT_EQ(test::header_of(*message, "Encapsulated"), "res-hdr=0, res-body=" + std::to_string(page_head.size()));
}

TEST(message_locks, hold_while_a_request_is_set)
{
    const auto message = test::extract_request("OPTIONS icap://h/ ICAP/1.0\r\n\r\n");
    const auto change = [&] { message->set_encapsulated(test::http_message(post_head)); };
    at_once([&] { (void)message->has_request(); }, change);
    at_once([&] { (void)succeeds([&] { (void)message->request(); }); }, change);
    EXPECT_TRUE(message->has_request());
}

TEST(message_locks, hold_while_messages_are_released)
{
    const auto message = test::extract_reply(test::reply(200, {"Encapsulated: null-body=0"}));
    int released = 0;
    int set = 0;
    at_once([&] { released += succeeds([&] { (void)message->release_encapsulated(http::type_response); }) ? 1 : 0; },
            [&] {
                message->set_encapsulated(test::http_message(page_head + "hello"));
                ++set;
            });
    EXPECT_LE(released, set);
    at_once([&] { (void)succeeds([&] { (void)message->release_encapsulated(http::type_response); }); },
            [&] { (void)succeeds([&] { (void)message->release_encapsulated(http::type_response); }); });
    EXPECT_FALSE(message->has_response());
}

TEST(message_locks, hold_for_the_number)
{
    const auto message = test::extract_reply(test::reply(204, {"Encapsulated: null-body=0"}));
    at_once([&] { message->set_id(7); }, [&] { EXPECT_TRUE(message->id() == 0 || message->id() == 7); });
    EXPECT_EQ(message->id(), 7U);
}

TEST(message_locks, hold_for_the_path_of_a_request)
{
    const auto message = test::extract_request(test::mail_request("hello"));
    at_once([&] { EXPECT_EQ(message->uri_path(), "/webscan"); }, [&] { message->headers().set("X-Other", "value"); });
}

TEST(message_locks, hold_while_bytes_are_appended_to_a_reply)
{
    const auto message = test::extract_reply(
        test::reply(200, {encapsulated("", "HTTP/1.1 200 OK\r\n\r\n", "res-body")}) + "HTTP/1.1 200 OK\r\n\r\n");
    ASSERT_TRUE(message && message->has_response());
    const auto change = [&] { test::append(*message, chunk("x")); };
    at_once([&] { EXPECT_FALSE(message->complete()); }, change);
    at_once(change, change);
    test::append(*message, last_chunk);
    EXPECT_TRUE(message->complete());
    EXPECT_EQ(test::body_of(message->response()), std::string(600, 'x'));
}

TEST(message_locks, hold_while_bytes_are_appended_to_a_request)
{
    const auto message =
        test::extract_request(test::reqmod({"Preview: 4", encapsulated(post_head, "", "req-body")}) + post_head);
    ASSERT_TRUE(message && message->has_request());
    const auto change = [&] { test::append(*message, chunk("x") + last_chunk); };
    at_once([&] { (void)message->complete(); }, change);
    at_once([&] { (void)message->is_endoff_preview(); }, change);
    at_once([&] { (void)succeeds([&] { message->more_preview_need(); }); }, change);
    change();
    EXPECT_TRUE(message->complete());
    at_once(change, change);
    EXPECT_TRUE(message->complete());
    EXPECT_GT(message->request().body_size(), 0U);
}

} // namespace message_locks_test
