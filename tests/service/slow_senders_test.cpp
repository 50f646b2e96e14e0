// Peers that send their requests slowly, or send what costs the service much.

#include "service/bad_request.h"
#include "service/request_reader.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/failing_heap.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>
#include <thread>

namespace slow_senders_test {

using namespace std::chrono_literals;
using service::request_reader;
using test::started_server;
using test::wire_client;

constexpr request_reader::limits wide{1U << 20U, 65536};
const std::string honest_mail = test::mail_request("x");

/// Sends `drop` every few milliseconds until the service ends the connection, while an honest client is served.
/// Returns false if the connection does not end.
bool is_cut_off(const started_server& server, std::string_view beginning, std::string_view drop)
{
    wire_client slow = server.client();
    wire_client honest = server.client();
    slow.send(beginning);
    for (int i = 0; i < 6000; ++i) {
        if (!slow.send(drop) || slow.socket().wait_readable(5)) {
            return true;
        }
        if (i % 10 == 0) {
            EXPECT_EQ(honest.ask(honest_mail).status(), 204U);
        }
    }
    return false;
}

/// No pause is long enough to be a stall.
service::server_options patient()
{
    service::server_options options;
    options.stall_timeout = 1h;
    options.head_timeout = 1h;
    options.rate_period = 1h;
    return options;
}

TEST(slow_senders, have_a_time_for_the_whole_head)
{
    const test::log_capture log;
    auto options = patient();
    options.head_timeout = 300ms;
    const started_server server(options);
    EXPECT_TRUE(is_cut_off(server, "OPTIONS icap://h/webscan ICAP/1.0\r\nX: ", "y"));
    EXPECT_TRUE(is_cut_off(server, test::reqmod_head("").substr(0, 30), "y"));
    EXPECT_TRUE(log.contains(") closes: the peer sends too slowly"));
}

TEST(slow_senders, of_an_encapsulated_head_have_the_same_time)
{
    auto options = patient();
    options.head_timeout = 300ms;
    const started_server server(options);
    const std::string head = test::mail_request("x");
    EXPECT_TRUE(is_cut_off(server, head.substr(0, head.find("POST ") + 5), "y"));
}

TEST(slow_senders, of_blank_lines_have_the_same_time)
{
    auto options = patient();
    options.head_timeout = 300ms;
    const started_server server(options);
    EXPECT_TRUE(is_cut_off(server, "", "\r\n"));
    EXPECT_TRUE(is_cut_off(server, "", " "));
}

TEST(slow_senders, of_a_body_need_a_least_rate)
{
    const test::log_capture log;
    auto options = patient();
    options.min_rate = 100000;
    options.rate_period = 200ms;
    const started_server server(options);
    const std::string mail = test::mail_request(std::string(500000, 'x'));
    EXPECT_TRUE(is_cut_off(server, mail.substr(0, mail.size() - 450000), "x"));
    EXPECT_TRUE(log.contains(") closes: the peer sends too slowly"));
}

TEST(slow_senders, that_have_stopped_are_noticed_without_a_further_byte)
{
    auto options = patient();
    options.rate_period = 200ms;
    const started_server server(options);
    wire_client client = server.client();
    client.send(test::mail_request(std::string(500, 'x')).substr(0, 300));
    EXPECT_TRUE(client.closed_by_service());
}

TEST(slow_senders, that_keep_the_rate_are_served_beyond_one_period)
{
    auto options = patient();
    options.min_rate = 1;
    options.rate_period = 1s;
    const started_server server(options);
    wire_client client = server.client();
    const std::string mail = test::mail_request(std::string(60, 'x'));
    client.send(mail.substr(0, mail.size() - 60));
    for (std::size_t i = 0; i < 60; ++i) {
        ASSERT_TRUE(client.send(mail.substr(mail.size() - 60 + i, 1)));
        std::this_thread::sleep_for(40ms); // longer than a period as a whole
    }
    EXPECT_EQ(client.read_answer().status(), 204U);
}

TEST(slow_senders, have_all_the_time_that_the_service_needs_itself)
{
    auto options = patient();
    options.head_timeout = 100ms;
    options.rate_period = 100ms;
    const started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(honest_mail).status(), 204U);
    // Idle for longer than both times.
    EXPECT_FALSE(client.socket().wait_readable(300));
    EXPECT_EQ(client.ask("\r\n" + honest_mail).status(), 204U);
}

TEST(blank_lines, without_end_are_a_request_that_is_refused)
{
    request_reader reader(wide);
    std::string inbox;
    std::size_t sent = 0;
    const auto send_all = [&] {
        for (; sent < 100000; sent += 3) {
            inbox += " \r\n";
            (void)reader.read(inbox);
            EXPECT_TRUE(inbox.empty());
            EXPECT_EQ(reader.started(), sent + 3 > 64) << sent;
        }
    };
    EXPECT_THROW(send_all(), service::bad_request);
    EXPECT_GT(sent, 16000U);
    EXPECT_LT(sent, 17000U);
}

TEST(heads, of_folded_lines_are_read_as_before)
{
    // Directly behind the first line such a line ends the head; elsewhere it continues a value.
    std::string inbox = "OPTIONS icap://h/webscan ICAP/1.0\r\n  \r\nnext";
    request_reader first(wide);
    EXPECT_EQ(first.read(inbox), request_reader::progress::complete);
    EXPECT_EQ(inbox, "next");
    inbox = "OPTIONS icap://h/webscan ICAP/1.0\r\nX: y\r\n  \r\n \r\nZ: 1\r\n\r\nnext";
    request_reader second(wide);
    ASSERT_EQ(second.read(inbox), request_reader::progress::complete);
    EXPECT_EQ(inbox, "next");
    EXPECT_NE(second.request()->headers().get("Z"), nullptr);
}

// A parse needs one piece of the heap, so that the pieces bound the number of parses.

TEST(heads, of_many_folded_lines_are_parsed_a_few_times_only)
{
    std::string inbox = "OPTIONS icap://h/webscan ICAP/1.0\r\nX: y\r\n";
    for (int i = 0; i < 5000; ++i) {
        inbox += " \r\n";
    }
    inbox += "\r\n";
    const test::heap_failure few(8);
    request_reader reader(wide);
    EXPECT_EQ(reader.read(inbox), request_reader::progress::complete);
}

TEST(heads, that_come_byte_by_byte_are_parsed_a_few_times_only)
{
    const std::string head = "OPTIONS icap://h/" + std::string(16000, 'x') + " ICAP/1.0\r\n\r\n";
    const test::heap_failure few(100);
    request_reader reader(wide);
    std::string inbox;
    auto progress = request_reader::progress::need_more;
    for (const char byte : head) {
        inbox += byte;
        progress = reader.read(inbox);
    }
    EXPECT_EQ(progress, request_reader::progress::complete);
}

} // namespace slow_senders_test
