// More peers than the service has room for.

#include "service/engine/builtin_engine.h"
#include "service/metrics/metrics.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace crowd_test {

using test::started_server;
using test::wire_client;

constexpr std::size_t places = 8;

service::server_options small_service()
{
    service::server_options options;
    options.max_connections = places;
    options.io_threads = 1; // a connection that has answered is idle before anything else happens
    return options;
}

std::vector<wire_client> silent_peers(const started_server& server, std::size_t count)
{
    std::vector<wire_client> peers;
    for (std::size_t i = 0; i < count; ++i) {
        peers.push_back(server.client());
    }
    return peers;
}

/// Asks as a newcomer until somebody else's connection has become idle, which the service may notice after its peer has
/// the answer. Returns the last status.
std::uint32_t status_of_newcomer(const started_server& server)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::uint32_t status = 0;
    do {
        status = server.client().ask(test::mail_request("x")).status();
    } while (status == 503 && std::chrono::steady_clock::now() < end);
    return status;
}

/// Waits until the service has read that many bytes. Returns false after a bounded time.
bool has_received(started_server& server, std::uint64_t bytes)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (server.server().metrics().bytes_received.value() < bytes) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

TEST(crowd, of_silent_peers_keeps_nobody_out)
{
    const started_server server(small_service());
    for (int round = 0; round < 5; ++round) {
        const auto crowd = silent_peers(server, places);
        EXPECT_EQ(server.client().ask(test::mail_request(service::antivirus_test_text())).status(), 200U) << round;
    }
}

TEST(crowd, closes_the_connection_that_was_idle_longest)
{
    const started_server server(small_service());
    auto crowd = silent_peers(server, places);
    // An answer proves that the peer was accepted. The first one is used last.
    for (std::size_t i = 1; i < places; ++i) {
        ASSERT_EQ(crowd[i].ask(test::mail_request("x")).status(), 204U);
    }
    ASSERT_EQ(crowd[0].ask(test::mail_request("x")).status(), 204U);
    wire_client first = server.client();
    EXPECT_EQ(first.ask(test::mail_request("x")).status(), 204U);
    EXPECT_TRUE(crowd[1].closed_by_service());
    wire_client second = server.client();
    EXPECT_EQ(second.ask(test::mail_request("x")).status(), 204U);
    EXPECT_TRUE(crowd[2].closed_by_service());
    EXPECT_EQ(crowd[0].ask(test::mail_request("x")).status(), 204U);
}

TEST(crowd, takes_no_place_of_a_request_under_way)
{
    const started_server server(small_service());
    wire_client busy = server.client();
    ASSERT_EQ(busy.ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4)).status(), 100U);
    const auto crowd = silent_peers(server, 3 * places);
    EXPECT_EQ(server.client().ask(test::mail_request("x")).status(), 204U);
    EXPECT_EQ(busy.ask(test::chunk("456789") + "0\r\n\r\n").status(), 204U);
}

TEST(crowd, of_busy_peers_lets_nobody_in_until_one_is_idle)
{
    const started_server server(small_service());
    auto crowd = silent_peers(server, places);
    for (auto& peer : crowd) {
        ASSERT_EQ(peer.ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4)).status(), 100U);
    }
    EXPECT_EQ(server.client().ask(test::mail_request("x")).status(), 503U);
    ASSERT_EQ(crowd[3].ask(test::chunk("456789") + "0\r\n\r\n").status(), 204U);
    EXPECT_EQ(status_of_newcomer(server), 204U);
    EXPECT_TRUE(crowd[3].closed_by_service());
}

TEST(crowd, of_unfinished_heads_gives_way_from_the_oldest_on)
{
    auto options = small_service();
    options.head_timeout = std::chrono::hours(1);
    started_server server(options);
    const std::string request = test::options_request();
    const std::string beginning = request.substr(0, request.size() / 2);
    auto crowd = silent_peers(server, places);
    for (std::size_t i = 0; i < places; ++i) {
        crowd[i].send(beginning);
        ASSERT_TRUE(has_received(server, (i + 1) * beginning.size())) << i;
    }
    const std::string busy = test::object_request_head(10, 4) + test::bare_preview("0123456789", 4);
    wire_client first = server.client();
    EXPECT_EQ(first.ask(busy).status(), 100U);
    EXPECT_TRUE(crowd[0].closed_by_service());
    wire_client second = server.client();
    EXPECT_EQ(second.ask(busy).status(), 100U);
    EXPECT_TRUE(crowd[1].closed_by_service());
    EXPECT_EQ(crowd[2].ask(request.substr(beginning.size())).status(), 200U);
    // An idle connection gives way first.
    EXPECT_EQ(server.client().ask(busy).status(), 100U);
    EXPECT_TRUE(crowd[2].closed_by_service());
    EXPECT_EQ(crowd[3].ask(request.substr(beginning.size())).status(), 200U);
    EXPECT_EQ(server.server().metrics().connections_evicted.value(), 3U);
}

} // namespace crowd_test
