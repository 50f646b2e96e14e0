// Objects that are kept without end.

#include "service/body_budget.h"
#include "service/engine/builtin_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace body_budget_test {

using namespace std::chrono_literals;
using service::body_budget;
using test::answer;
using test::started_server;
using test::wire_client;

constexpr std::uint64_t unit = 1U << 18U;
constexpr std::uint64_t budget_bytes = 8 * unit; ///< of which one object can have seven
const std::string refusal_line = "requests are refused: their objects exceed the budget of 2097152 bytes";

std::size_t lines_with(const test::log_capture& log, const std::string& part)
{
    const auto texts = log.texts();
    return static_cast<std::size_t>(std::count_if(
        texts.begin(), texts.end(), [&](const std::string& text) { return text.find(part) != std::string::npos; }));
}

/// Takes as much as the budget allows, in pieces.
std::uint64_t taken_by(body_budget::share& share, std::uint64_t piece)
{
    std::uint64_t count = 0;
    while (share.take(piece)) {
        count += piece;
    }
    return count;
}

TEST(body_budget, counts_what_is_kept)
{
    body_budget budget(90);
    {
        body_budget::share first(&budget);
        EXPECT_TRUE(first.take(20));
        body_budget::share second(&budget);
        EXPECT_TRUE(second.take(10));
        EXPECT_TRUE(first.take(1));
        EXPECT_EQ(budget.used(), 31U);
    }
    EXPECT_EQ(budget.used(), 0U);
}

TEST(body_budget, one_large_object_has_seven_eighths_at_most)
{
    body_budget budget(80);
    body_budget::share share(&budget);
    EXPECT_FALSE(share.take(81));
    EXPECT_EQ(taken_by(share, 1), 70U);
    EXPECT_FALSE(body_budget::share(&budget).take(UINT64_MAX));
}

TEST(body_budget, large_objects_leave_room_for_small_ones)
{
    body_budget budget(64 * unit);
    std::vector<std::unique_ptr<body_budget::share>> hogs;
    for (int i = 0; i < 1000; ++i) {
        hogs.push_back(std::make_unique<body_budget::share>(&budget));
        taken_by(*hogs.back(), 8192);
    }
    EXPECT_EQ(budget.used(), 56 * unit);
    for (int i = 0; i < 100; ++i) {
        hogs.push_back(std::make_unique<body_budget::share>(&budget));
        EXPECT_TRUE(hogs.back()->take(4096)) << i;
    }
}

TEST(body_budget, counts_files)
{
    const test::log_capture log;
    body_budget budget(9, 2);
    {
        body_budget::share first(&budget);
        body_budget::share second(&budget);
        EXPECT_TRUE(first.take_file());
        EXPECT_TRUE(second.take_file());
        EXPECT_FALSE(body_budget::share(&budget).take_file());
        EXPECT_FALSE(body_budget::share(&budget).take_file());
    }
    EXPECT_TRUE(body_budget::share(&budget).take_file());
    EXPECT_EQ(lines_with(log, "no descriptors for files of their objects"), 1U);
}

TEST(body_budget, can_be_changed)
{
    body_budget budget(80);
    body_budget::share share(&budget);
    EXPECT_EQ(taken_by(share, 1), 70U);
    budget.resize(40);
    EXPECT_FALSE(share.take(1));
    budget.resize(160);
    EXPECT_EQ(taken_by(share, 1), 70U);
    EXPECT_EQ(budget.used(), 140U);
}

TEST(body_budget, is_shared_by_threads)
{
    body_budget budget(1000000);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&budget] {
            for (int round = 0; round < 1000; ++round) {
                body_budget::share share(&budget);
                EXPECT_TRUE(share.take(100) && share.take(23));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(budget.used(), 0U);
}

TEST(body_budget, refusals_are_logged_once_until_there_were_none_for_a_while)
{
    const test::log_capture log;
    body_budget calm(9, 9, 1h);
    body_budget talkative(9, 9, 0s);
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(body_budget::share(&calm).take(10));
        calm.report_failure("disk full");
    }
    EXPECT_EQ(lines_with(log, "exceed the budget of 9 bytes"), 1U);
    EXPECT_EQ(lines_with(log, "their objects cannot be kept: disk full"), 1U);
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(body_budget::share(&talkative).take(10));
    }
    EXPECT_EQ(lines_with(log, "exceed the budget of 9 bytes"), 6U);
}

TEST(episode, begins_again_after_a_pause_or_its_end)
{
    service::episode episode(10s);
    const service::episode::clock::time_point start{};
    EXPECT_TRUE(episode.begins(start));
    EXPECT_FALSE(episode.begins(start + 9s));
    EXPECT_FALSE(episode.begins(start + 18s));
    EXPECT_TRUE(episode.begins(start + 28s));
    EXPECT_TRUE(episode.end());
    EXPECT_FALSE(episode.end());
    EXPECT_TRUE(episode.begins(start + 29s));
}

service::server_options small_budget()
{
    service::server_options options;
    options.body_budget = budget_bytes;
    options.linger_timeout = 1h; // a refused peer may go on sending
    return options;
}

/// Returns a mail of that many bytes as far as `part` bytes of its body.
std::string beginning_of(std::uint64_t size, std::uint64_t part)
{
    return test::reqmod_head("POST http://check_mail?tag=t HTTP/1.1\r\nContent-Length: " + std::to_string(size) +
                             "\r\n\r\n") +
           test::hexadecimal(static_cast<std::size_t>(size)) + "\r\n" +
           std::string(static_cast<std::size_t>(part), 'x');
}

/// Asks until the service has noticed that earlier peers are gone.
std::uint32_t status_when_room(const started_server& server, const std::string& request)
{
    std::uint32_t status = 0;
    for (int i = 0; i < 3000 && status != 204; ++i) {
        status = server.client().ask(request).status();
        std::this_thread::sleep_for(status == 204 ? 0ms : 10ms);
    }
    return status;
}

TEST(body_budget, that_is_used_up_by_objects_without_an_end_lets_an_ordinary_scan_pass)
{
    const test::log_capture log;
    const started_server server(small_budget());
    std::vector<wire_client> attackers;
    for (int i = 0; i < 16; ++i) {
        attackers.push_back(server.client());
        attackers.back().send(beginning_of(64 * unit, 4 * unit));
    }
    for (int i = 0; i < 3000 && !log.contains(refusal_line); ++i) {
        std::this_thread::sleep_for(10ms);
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(server.client().ask(test::mail_request(std::string(500, 'x'))).status(), 204U);
        EXPECT_EQ(server.client().ask(test::mail_request("x" + service::antivirus_test_text())).status(), 200U);
    }
    EXPECT_EQ(lines_with(log, refusal_line), 1U);
    attackers.clear();
    EXPECT_EQ(status_when_room(server, test::mail_request(std::string(6 * unit, 'x'))), 204U);
}

TEST(body_budget, refuses_the_request_that_exceeds_it_and_lets_others_finish)
{
    const test::log_capture log;
    const started_server server(small_budget());
    const std::string object(65000, 'x');
    wire_client first = server.client();
    ASSERT_EQ(
        first.ask(test::object_request_head(object.size(), 64000) + test::standard_preview(object, 64000)).status(),
        100U);
    wire_client second = server.client();
    const answer refusal = second.ask(test::mail_request(std::string(8 * unit, 'x')));
    ASSERT_EQ(refusal.status(), 503U);
    EXPECT_EQ(refusal.field("Connection"), "close");
    EXPECT_EQ(first.ask(test::chunk(object.substr(64000)) + std::string(test::end_mark)).status(), 204U);
    second.socket().end_sending();
    EXPECT_TRUE(second.closed_by_service());
    EXPECT_EQ(lines_with(log, refusal_line), 1U);
}

TEST(body_budget, refuses_objects_without_a_descriptor_for_their_file)
{
    auto options = small_budget();
    options.body_files = 1;
    const started_server server(options);
    const std::string head =
        test::reqmod_head("POST http://host/ HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n", "Preview: 4\r\n");
    const std::string preview = test::standard_preview("0123", 4);
    wire_client first = server.client();
    ASSERT_EQ(first.ask(head + preview).status(), 100U);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(server.client().ask(head + preview).status(), 503U);
        EXPECT_EQ(server.client().ask(test::mail_request("kept in memory")).status(), 204U);
    }
    EXPECT_EQ(first.ask(test::chunk("4") + std::string(test::end_mark)).status(), 200U);
    EXPECT_EQ(first.ask(head + preview).status(), 100U);
}

TEST(body_budget, is_given_back_with_each_verdict)
{
    const started_server server(small_budget());
    wire_client client = server.client();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(client.ask(test::mail_request(std::string(6 * unit, 'x'))).status(), 204U);
        const answer back = client.ask(test::mail_request(std::string(6 * unit, 'x'), ""));
        EXPECT_EQ(back.object().size(), 6 * unit);
        EXPECT_EQ(client.ask(test::mail_request(std::string(6 * unit, 'x') + service::antivirus_test_text())).status(),
                  200U);
    }
    // The last client stays.
    EXPECT_EQ(status_when_room(server, test::mail_request(std::string(6 * unit, 'x'))), 204U);
}

TEST(body_budget, is_given_back_by_a_refused_request_whose_peer_stays)
{
    const started_server server(small_budget());
    std::vector<wire_client> refused;
    for (int i = 0; i < 3; ++i) {
        refused.push_back(server.client());
        EXPECT_EQ(refused.back().ask(beginning_of(64 * unit, 9 * unit)).status(), 503U);
        EXPECT_EQ(server.client().ask(test::mail_request(std::string(6 * unit, 'x'))).status(), 204U);
    }
}

TEST(body_budget, is_given_back_by_a_peer_that_asked_for_the_end_and_stays)
{
    const started_server server(small_budget());
    wire_client client = server.client();
    EXPECT_EQ(
        client.ask(test::mail_request(std::string(6 * unit, 'x'), "Allow: 204\r\nConnection: close\r\n")).status(),
        204U);
    EXPECT_EQ(status_when_room(server, test::mail_request(std::string(6 * unit, 'x'))), 204U);
}

TEST(body_budget, is_given_back_by_peers_that_leave)
{
    const started_server server(small_budget());
    for (int i = 0; i < 3; ++i) {
        {
            wire_client client = server.client();
            client.send(beginning_of(6 * unit, 6 * unit));
        }
        EXPECT_EQ(status_when_room(server, test::mail_request(std::string(6 * unit, 'x'))), 204U);
    }
}

TEST(body_budget, that_is_exceeded_withholds_the_object_if_the_administrator_wants_that)
{
    const test::log_capture log;
    auto options = small_budget();
    options.policy.unreachable = service::treatment::block;
    started_server server(options);
    wire_client client = server.client();
    const answer reply = client.ask(beginning_of(64 * unit, 9 * unit));
    EXPECT_EQ(reply.status(), 200U);
    EXPECT_EQ(reply.field("X-Infection-Found"), "Type=0;Resolution=2;Threat=Unchecked.NoEngine;");
    EXPECT_EQ(reply.field("Connection"), "close");
    EXPECT_NE(reply.object().find("The scanner is not available at present."), std::string::npos);
    EXPECT_EQ(lines_with(log, refusal_line), 1U);
    EXPECT_EQ(lines_with(log, "': Unchecked.NoEngine"), 1U);
    EXPECT_EQ(server.client().ask(test::mail_request(std::string(6 * unit, 'x'))).status(), 204U); // it was given back
    options.policy = {service::treatment::pass, service::treatment::block};
    server.server().reconfigure(options);
    EXPECT_EQ(server.client().ask(beginning_of(64 * unit, 9 * unit)).status(), 503U);
}

} // namespace body_budget_test
