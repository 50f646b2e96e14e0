// Options that change while the server runs.

#include "service/engine/builtin_engine.h"
#include "tests/service/engine/slow_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace reconfiguration_test {

using namespace std::chrono_literals;
using test::started_server;
using test::wire_client;

const std::string small_mail = test::mail_request("x");
const std::string test_mail = test::mail_request(service::antivirus_test_text());

class reconfiguration : public testing::Test
{
protected:
    service::server_options options;
};

TEST_F(reconfiguration, keeps_idle_connections_and_serves_their_next_request_by_the_new_options)
{
    started_server server(options);
    wire_client unused = server.client();
    wire_client used = server.client();
    EXPECT_EQ(used.ask(test::options_request()).field("Preview"), "0");
    options.preview = 31;
    options.max_body = 10;
    server.server().reconfigure(options);
    for (wire_client* client : {&unused, &used}) {
        EXPECT_EQ(client->ask(test::options_request()).field("Preview"), "31");
        EXPECT_EQ(client->ask(test::mail_request("0123456789")).status(), 204U);
        EXPECT_EQ(client->ask(test::mail_request("0123456789a")).status(), 413U);
    }
}

TEST_F(reconfiguration, serves_a_request_that_has_begun_by_the_old_options)
{
    options.preview = 1;
    started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4)).status(), 100U);
    options.preview = 2;
    options.max_body = 5;
    server.server().reconfigure(options);
    EXPECT_EQ(client.ask(test::chunk("456789") + "0\r\n\r\n").status(), 204U);
    EXPECT_EQ(client.ask(test::mail_request("0123456789")).status(), 413U);
    EXPECT_EQ(server.client().ask(test::options_request()).field("Preview"), "2");
}

TEST_F(reconfiguration, lets_scans_end_with_the_old_engine)
{
    const auto slow = std::make_shared<test::slow_engine>();
    options.custom_engine = slow;
    options.scan_timeout = 1500ms;
    started_server server(options);
    wire_client scanning = server.client();
    const std::string old_tag = scanning.ask(test::options_request()).field("ISTag");
    const std::string object(test::slow_engine::slow_size, 'x');
    scanning.send(test::mail_request(object));
    ASSERT_TRUE(slow->wait_for_scans(1));
    wire_client other = server.client();
    EXPECT_EQ(other.ask(test_mail).status(), 204U); // too small for this engine
    options.custom_engine = nullptr;
    server.server().reconfigure(options);
    // The next request of a connection is judged by the new engine, and its tag is that of the new one.
    const test::answer blocked = other.ask(test_mail);
    EXPECT_EQ(blocked.status(), 200U);
    EXPECT_NE(blocked.field("ISTag"), old_tag);
    EXPECT_NE(blocked.field("X-Infection-Found"), "");
    const test::answer late = scanning.read_answer();
    EXPECT_EQ(late.status(), 500U);
    EXPECT_EQ(late.field("ISTag"), old_tag);
    EXPECT_EQ(scanning.ask(test_mail).status(), 200U);
    EXPECT_EQ(other.ask(test::options_request()).field("ISTag"), blocked.field("ISTag"));
}

TEST_F(reconfiguration, ends_the_probes_of_the_old_engine_while_it_still_scans)
{
    const auto slow = std::make_shared<test::slow_engine>();
    options.custom_engine = slow;
    options.probe_interval = 1ms;
    started_server server(options);
    wire_client scanning = server.client();
    scanning.send(test::mail_request(std::string(test::slow_engine::slow_size, 'x')));
    ASSERT_TRUE(slow->wait_for_scans(1));
    options.custom_engine = nullptr;
    server.server().reconfigure(options);
    const test::log_capture log;
    slow->set_state("1", "gone");
    wire_client client = server.client();
    for (int i = 0; i < 500; ++i) { // takes several intervals
        EXPECT_EQ(client.ask(small_mail).status(), 204U);
    }
    EXPECT_FALSE(log.contains("the engine cannot be reached"));
    scanning.socket().reset();
    EXPECT_TRUE(slow->wait_for_stops(1));
}

TEST_F(reconfiguration, keeps_an_engine_that_has_not_changed)
{
    const auto slow = std::make_shared<test::slow_engine>();
    options.custom_engine = slow;
    options.probe_interval = 1h;
    started_server server(options);
    const std::string tag = server.client().ask(test::options_request()).field("ISTag");
    slow->set_state("2", "");
    options.preview = 1;
    server.server().reconfigure(options);
    EXPECT_EQ(server.client().ask(test::options_request()).field("ISTag"), tag); // was not probed again
    options.probe_interval = 2h;
    server.server().reconfigure(options);
    EXPECT_NE(server.client().ask(test::mail_request("x")).field("ISTag"), tag);
}

TEST_F(reconfiguration, applies_time_outs_to_idle_connections)
{
    started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(small_mail).status(), 204U);
    options.idle_timeout = 50ms;
    server.server().reconfigure(options);
    EXPECT_TRUE(client.closed_by_service());
}

TEST_F(reconfiguration, applies_the_number_of_connections_to_further_ones)
{
    options.max_connections = 2;
    started_server server(options);
    const std::string preview = test::object_request_head(10, 4) + test::bare_preview("0123456789", 4);
    wire_client first = server.client();
    wire_client second = server.client();
    EXPECT_EQ(first.ask(preview).status(), 100U);
    EXPECT_EQ(second.ask(preview).status(), 100U);
    options.max_connections = 3;
    server.server().reconfigure(options);
    EXPECT_EQ(server.client().ask(small_mail).status(), 204U);
    options.max_connections = 1;
    server.server().reconfigure(options);
    EXPECT_EQ(server.client().ask(small_mail).status(), 503U);
    for (wire_client* client : {&first, &second}) {
        EXPECT_EQ(client->ask(test::chunk("456789") + "0\r\n\r\n").status(), 204U);
    }
}

TEST_F(reconfiguration, with_invalid_options_changes_nothing)
{
    started_server server(options);
    options.engines = {"none"};
    options.preview = 31;
    EXPECT_THROW(server.server().reconfigure(options), std::invalid_argument);
    EXPECT_EQ(server.client().ask(test::options_request()).field("Preview"), "0");
    service::scan_server never_started{{}};
    EXPECT_THROW(never_started.reconfigure({}), std::logic_error);
}

TEST_F(reconfiguration, does_not_wait_long_for_an_engine_that_does_not_answer)
{
    const auto slow = std::make_shared<test::slow_engine>();
    started_server server(options);
    slow->hold_probes(true);
    options.custom_engine = slow;
    server.server().reconfigure(options);
    EXPECT_EQ(server.client().ask(small_mail).status(), 204U);
    // The probe that is under way is given up.
    options.custom_engine = nullptr;
    server.server().reconfigure(options);
    EXPECT_EQ(server.client().ask(test_mail).status(), 200U);
}

TEST_F(reconfiguration, again_and_again_disturbs_no_request)
{
    started_server server(options);
    std::vector<wire_client> clients;
    for (int i = 0; i < 8; ++i) {
        clients.push_back(server.client());
    }
    for (std::uint32_t i = 1; i <= 200; ++i) {
        for (wire_client& client : clients) {
            client.send(i % 2 == 0 ? small_mail : test_mail);
        }
        options.preview = i;
        options.probe_interval = std::chrono::hours(1 + i % 2);
        server.server().reconfigure(options);
        for (wire_client& client : clients) {
            EXPECT_EQ(client.read_answer().status(), i % 2 == 0 ? 204U : 200U);
        }
    }
}

} // namespace reconfiguration_test
