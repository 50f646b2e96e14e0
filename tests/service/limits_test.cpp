#include "service/engine/builtin_engine.h"
#include "service/scan_server.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using test::answer;
using test::started_server;
using test::wire_client;

/// Waits until the server has no more than that many connections.
bool settles_at(service::scan_server& server, std::size_t connections)
{
    for (int i = 0; i < 3000 && server.connections() > connections; ++i) {
        std::this_thread::sleep_for(10ms);
    }
    return server.connections() <= connections;
}

/// Once the preview has been answered with 100, the connection has a request under way.
const std::string preview_of_request = test::object_request_head(10, 4) + test::bare_preview("0123456789", 4);
const std::string rest_of_request = test::chunk("456789") + "0\r\n\r\n";

TEST(limits, a_peer_that_stalls_within_a_request_is_dropped)
{
    const test::log_capture log;
    service::server_options options;
    options.stall_timeout = 100ms;
    const started_server server(options);
    const std::string request = test::mail_request("0123456789");
    for (const std::size_t part : {std::size_t{1}, std::size_t{20}, request.size() - 12, request.size() - 1}) {
        wire_client client = server.client();
        client.send(request.substr(0, part));
        EXPECT_TRUE(client.closed_by_service()) << part;
    }
    EXPECT_TRUE(log.contains(") closes: the peer stalls"));
}

TEST(limits, a_peer_that_stalls_behind_a_100_is_dropped)
{
    service::server_options options;
    options.stall_timeout = 100ms;
    const started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4)).status(), 100U);
    EXPECT_TRUE(client.closed_by_service());
}

TEST(limits, a_peer_that_takes_no_answer_is_dropped)
{
    service::server_options options;
    options.stall_timeout = 200ms;
    started_server server(options);
    wire_client client = server.client();
    // Is returned unchanged, and is larger than any buffer.
    const std::string body(16U << 20U, 'x');
    ASSERT_TRUE(client.send(test::mail_request(body, "")));
    EXPECT_TRUE(settles_at(server.server(), 0));
}

TEST(limits, a_connection_without_a_request_is_kept)
{
    service::server_options options;
    options.stall_timeout = 20ms;
    const started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::mail_request("first")).status(), 204U);
    // Longer than a stall may last; the response shows whether the server disconnected.
    EXPECT_FALSE(client.socket().wait_readable(200));
    EXPECT_EQ(client.ask(test::mail_request("second")).status(), 204U);
}

TEST(limits, a_connection_without_a_request_ends_if_that_is_wanted)
{
    service::server_options options;
    options.idle_timeout = 1000ms;
    const started_server server(options);
    wire_client unused = server.client();
    EXPECT_TRUE(unused.closed_by_service());
    wire_client used = server.client();
    EXPECT_EQ(used.ask(test::mail_request("first")).status(), 204U);
    EXPECT_TRUE(used.closed_by_service());
}

TEST(limits, one_connection_too_many_is_told_so)
{
    service::server_options options;
    options.max_connections = 2;
    started_server server(options);
    wire_client first = server.client();
    wire_client second = server.client();
    EXPECT_EQ(first.ask(preview_of_request).status(), 100U);
    EXPECT_EQ(second.ask(preview_of_request).status(), 100U);
    for (int i = 0; i < 3; ++i) {
        wire_client third = server.client();
        const answer reply = third.ask(test::mail_request("x"));
        EXPECT_EQ(reply.status(), 503U);
        EXPECT_EQ(reply.field("Connection"), "close");
        EXPECT_TRUE(third.closed_by_service());
    }
    EXPECT_EQ(first.ask(rest_of_request).status(), 204U);
    first.socket().close();
    EXPECT_TRUE(settles_at(server.server(), 1));
    EXPECT_EQ(server.client().ask(test::mail_request("x")).status(), 204U);
}

TEST(limits, a_flood_of_refused_connections_keeps_nobody_out_for_longer)
{
    service::server_options options;
    options.max_connections = 1;
    options.linger_timeout = 60s;
    started_server server(options);
    wire_client first = server.client();
    EXPECT_EQ(first.ask(preview_of_request).status(), 100U);
    std::vector<wire_client> refused;
    for (int i = 0; i < 100; ++i) {
        refused.push_back(server.client());
        refused.back().send("x");
        const std::uint32_t status = refused.back().read_answer().status();
        EXPECT_TRUE(status == 503 || status == 0) << status;
    }
    EXPECT_LE(server.server().connections(), 66U);
    first.socket().close();
    // The refused connections linger, but the place is free.
    std::uint32_t status = 0;
    for (int i = 0; i < 3000 && status != 204; ++i) {
        status = server.client().ask(test::mail_request("x")).status();
    }
    EXPECT_EQ(status, 204U);
}

TEST(limits, an_object_that_is_too_large_is_told_so_though_all_of_it_is_sent)
{
    service::server_options options;
    options.max_body = 1000;
    options.linger_timeout = 60s; // until all of the large object has been sent
    const started_server server(options);
    wire_client exact = server.client();
    EXPECT_EQ(exact.ask(test::mail_request(std::string(1000, 'x'))).status(), 204U);
    EXPECT_EQ(exact.ask(test::mail_request(std::string(1001, 'x'))).status(), 413U);
    EXPECT_TRUE(exact.closed_by_service());
    wire_client large = server.client();
    // Larger than any buffer: the server must continue reading for the response to arrive.
    EXPECT_TRUE(large.send(test::mail_request(std::string(32U << 20U, 'x'))));
    EXPECT_EQ(large.read_answer().status(), 413U);
}

TEST(limits, a_peer_that_goes_on_sending_behind_the_end_is_cut_off)
{
    service::server_options options;
    options.linger_timeout = 100ms;
    const started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask("nonsense\r\n\r\n").status(), 400U);
    bool taken = true;
    const std::string more(65536, 'x');
    for (int i = 0; i < 100000 && taken; ++i) {
        taken = client.send(more);
    }
    EXPECT_FALSE(taken);
}

TEST(limits, a_preview_that_is_too_large_is_refused)
{
    service::server_options options;
    options.max_preview = 100;
    const started_server server(options);
    EXPECT_EQ(server.client().ask(test::object_request_head(1000, 101)).status(), 400U);
    EXPECT_EQ(server.client()
                  .ask(test::object_request_head(100, 100) + test::standard_preview(std::string(100, 'x'), 100, true))
                  .status(),
              204U);
}

TEST(limits, a_peer_that_goes_within_a_request_leaves_nothing)
{
    started_server server;
    const std::string request = test::mail_request("0123456789");
    for (std::size_t part = 0; part < request.size(); part += 40) {
        wire_client client = server.client();
        client.send(request.substr(0, part));
        part % 80 == 0 ? client.socket().close() : client.socket().reset();
    }
    EXPECT_TRUE(settles_at(server.server(), 0));
    EXPECT_EQ(server.client().ask(request).status(), 204U);
}

TEST(limits, a_peer_that_ends_its_sending_still_gets_its_answer)
{
    const started_server server;
    wire_client client = server.client();
    client.send(test::mail_request(service::antivirus_test_text()));
    client.socket().end_sending();
    EXPECT_EQ(client.read_answer().status(), 200U);
    EXPECT_TRUE(client.closed_by_service());
}

TEST(server, refuses_options_that_cannot_be)
{
    service::server_options engine;
    engine.engines = {"none"};
    EXPECT_THROW(service::scan_server{engine}, std::invalid_argument);
    for (const std::string_view uri : {"", "/", "a b", "a?b", "a%20", "\xC3\xA4"}) {
        service::server_options options;
        options.uri = uri;
        EXPECT_THROW(service::scan_server{options}, std::invalid_argument) << uri;
    }
}

TEST(server, starts_once)
{
    service::scan_server server{{}};
    EXPECT_EQ(server.port(), 0);
    server.start();
    EXPECT_NE(server.port(), 0);
    EXPECT_THROW(server.start(), std::logic_error);
}

TEST(server, says_that_a_port_is_taken)
{
    const started_server first;
    service::server_options options;
    options.port = first.port();
    service::scan_server second(options);
    try {
        second.start();
        ADD_FAILURE() << "two servers on one port";
    } catch (const std::system_error& failure) {
        EXPECT_TRUE(std::string(failure.what()).starts_with("port " + std::to_string(first.port()) + ": "))
            << failure.what();
    }
    // The server was not started, so starting may be retried, and it can be destroyed.
    EXPECT_THROW(second.start(), std::system_error);
    second.stop();
}

} // namespace
