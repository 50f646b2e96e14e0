// Objects that occupy all scanner threads, and engines that do not answer.

#include "service/engine/clamd_engine.h"
#include "tests/service/engine/slow_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_peer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace slow_scans_test {

using namespace std::chrono_literals;
using test::started_server;
using test::wire_client;

constexpr int scanners = 4;
const std::string slow_mail = test::mail_request(std::string(test::slow_engine::slow_size, 'x'));
const std::string fast_mail = test::mail_request("x");

class slow_scans : public testing::Test
{
protected:
    slow_scans()
    {
        options.custom_engine = engine;
        options.scan_threads = scanners;
    }

    /// Occupies all scanner threads.
    void attack(const started_server& server)
    {
        for (int i = 0; i < scanners; ++i) {
            attackers.push_back(server.client());
            attackers.back().send(slow_mail);
        }
        ASSERT_TRUE(engine->wait_for_scans(scanners));
    }

    std::shared_ptr<test::slow_engine> engine = std::make_shared<test::slow_engine>();
    service::server_options options;
    std::vector<wire_client> attackers;
};

TEST_F(slow_scans, delay_neither_options_nor_health_nor_another_uri)
{
    started_server server(options);
    attack(server);
    wire_client honest = server.client();
    EXPECT_EQ(honest.ask(test::options_request()).status(), 200U);
    EXPECT_EQ(honest.ask(test::health_request()).status(), 204U);
    EXPECT_EQ(honest.ask(test::options_request("icap://127.0.0.1/other")).status(), 404U);
}

TEST_F(slow_scans, are_stopped_when_their_peers_break_off)
{
    started_server server(options);
    attack(server);
    wire_client honest = server.client();
    honest.send(fast_mail);
    for (auto& attacker : attackers) {
        attacker.socket().reset();
    }
    EXPECT_EQ(honest.read_answer().status(), 204U);
    EXPECT_TRUE(engine->wait_for_stops(scanners));
}

TEST_F(slow_scans, are_stopped_when_their_peers_leave)
{
    options.leave_timeout = 50ms;
    started_server server(options);
    attack(server);
    wire_client honest = server.client();
    honest.send(fast_mail);
    attackers.clear();
    EXPECT_EQ(honest.read_answer().status(), 204U);
    EXPECT_TRUE(engine->wait_for_stops(scanners));
}

/// The verdicts come long after a peer that has closed its connection would have been noticed.
TEST_F(slow_scans, are_answered_though_their_peers_have_ended_their_sending)
{
    options.leave_timeout = 20ms;
    options.scan_timeout = 1000ms;
    for (const service::treatment late : {service::treatment::pass, service::treatment::block}) {
        options.policy.unreachable = late;
        started_server server(options);
        wire_client client = server.client();
        client.send(slow_mail + fast_mail + slow_mail);
        client.socket().end_sending();
        const std::uint32_t status = late == service::treatment::pass ? 500U : 200U;
        EXPECT_EQ(client.read_answer().status(), status);
        EXPECT_EQ(client.read_answer().status(), 204U);
        EXPECT_EQ(client.read_answer().status(), status);
        EXPECT_TRUE(client.closed_by_service());
    }
}

TEST_F(slow_scans, are_stopped_when_their_time_is_over)
{
    const test::log_capture log;
    options.scan_timeout = 1500ms;
    started_server server(options);
    attack(server);
    // Its own time begins later.
    wire_client honest = server.client();
    EXPECT_FALSE(honest.socket().wait_readable(300));
    EXPECT_EQ(honest.ask(fast_mail).status(), 204U);
    for (auto& attacker : attackers) {
        const test::answer reply = attacker.read_answer();
        EXPECT_EQ(reply.status(), 500U);
        EXPECT_EQ(reply.field("Connection"), "keep-alive");
        EXPECT_EQ(attacker.ask(fast_mail).status(), 204U);
    }
    EXPECT_TRUE(log.contains(") could not judge an object: no verdict within 1500 ms"));
    EXPECT_FALSE(log.contains("stopped"));
}

TEST_F(slow_scans, that_wait_for_a_scanner_end_with_their_time_too)
{
    options.scan_timeout = 1000ms;
    options.scan_threads = 1;
    started_server server(options);
    std::vector<wire_client> waiting;
    for (int i = 0; i < 3; ++i) {
        waiting.push_back(server.client());
        waiting.back().send(slow_mail);
    }
    for (auto& client : waiting) {
        EXPECT_EQ(client.read_answer().status(), 500U);
    }
    EXPECT_EQ(server.client().ask(fast_mail).status(), 204U);
}

TEST_F(slow_scans, of_one_connection_come_one_after_another)
{
    options.scan_threads = 2;
    started_server server(options);
    wire_client greedy = server.client();
    greedy.send(slow_mail + slow_mail + slow_mail);
    ASSERT_TRUE(engine->wait_for_scans(1));
    EXPECT_EQ(server.client().ask(fast_mail).status(), 204U);
}

TEST_F(slow_scans, of_peers_that_have_gone_leave_the_queue)
{
    options.scan_threads = 1;
    started_server server(options);
    attackers.push_back(server.client());
    attackers.back().send(slow_mail);
    ASSERT_TRUE(engine->wait_for_scans(1));
    for (int i = 0; i < 20; ++i) {
        wire_client waiting = server.client();
        waiting.send(slow_mail);
        waiting.socket().reset();
    }
    wire_client honest = server.client();
    honest.send(fast_mail);
    attackers.back().socket().reset();
    EXPECT_EQ(honest.read_answer().status(), 204U);
}

TEST_F(slow_scans, that_are_under_way_see_a_peer_that_has_sent_more_leave)
{
    started_server server(options);
    wire_client attacker = server.client();
    attacker.send(slow_mail + fast_mail);
    ASSERT_TRUE(engine->wait_for_scans(1));
    attacker.socket().reset();
    EXPECT_TRUE(engine->wait_for_stops(1));
}

TEST_F(slow_scans, do_not_matter_to_the_tag_of_an_engine_that_does_not_answer)
{
    engine->set_state("2", "");
    started_server server(options);
    wire_client honest = server.client();
    const std::string known = honest.ask(test::options_request()).field("ISTag");
    engine->hold_probes(true);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(server.client().ask(test::options_request()).field("ISTag"), known);
    }
    EXPECT_EQ(honest.ask(test::health_request()).status(), 204U);
    engine->set_state("3", "");
    engine->hold_probes(false);
    std::string fresh;
    for (int i = 0; i < 3000 && (fresh.empty() || fresh == known); ++i) {
        fresh = honest.ask(test::options_request()).field("ISTag");
    }
    EXPECT_NE(fresh, known);
    EXPECT_EQ(honest.ask(fast_mail).field("ISTag"), fresh);
}

TEST_F(slow_scans, health_is_that_of_the_engine)
{
    const started_server server(options);
    wire_client client = server.client();
    engine->set_state("1", "gone");
    EXPECT_EQ(client.ask(test::health_request()).status(), 500U);
    engine->set_state("1", "");
    EXPECT_EQ(client.ask(test::health_request()).status(), 204U);
}

TEST(slow_clamd, has_the_same_time_for_all_its_steps)
{
    test::scripted_peer clamd({test::conversation().expect(10).wait()});
    service::server_options options;
    options.custom_engine =
        std::make_shared<service::clamd_engine>(service::clamd_tcp_endpoint("127.0.0.1", clamd.port()), 1h);
    options.scan_timeout = 200ms;
    options.scan_threads = 1;
    const test::log_capture log;
    const started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(fast_mail).status(), 500U);
    EXPECT_TRUE(clamd.wait_for_end(0));
    EXPECT_TRUE(log.contains(") could not judge an object: no verdict within 200 ms"));
}

} // namespace slow_scans_test
