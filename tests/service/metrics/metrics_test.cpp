// What a server counts, read as a monitoring system reads it.

#include "service/engine/builtin_engine.h"
#include "service/metrics/metrics.h"
#include "service/metrics/metrics_server.h"
#include "tests/service/engine/slow_engine.h"
#include "tests/service/metrics/exposition_reader.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace metrics_test {

using namespace std::chrono_literals;
using test::wire_client;
using testing::HasSubstr;
using testing::StartsWith;

class metrics : public testing::Test
{
protected:
    metrics() { options.metrics_port = 0; }

    void start() { server.emplace(options); }
    [[nodiscard]] wire_client monitor() { return wire_client(server->server().metrics_port()); }
    [[nodiscard]] std::string get(std::string_view request)
    {
        wire_client client = monitor();
        client.send(request);
        return client.read_to_end();
    }
    /// Reads all metrics.
    [[nodiscard]] std::map<std::string, double> read()
    {
        const std::string response = get("GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_THAT(response, StartsWith("HTTP/1.1 200 OK\r\n"));
        text = response.substr(std::min(response.size(), response.find("\r\n\r\n") + 4));
        EXPECT_THAT(response, HasSubstr("Content-Length: " + std::to_string(text.size()) + "\r\n"));
        return test::exposition_reader::read(text);
    }
    [[nodiscard]] double value(const std::string& series) { return read().at("postwarden_service_" + series); }
    [[nodiscard]] double requests(const std::string& kind, const std::string& result)
    {
        return value("requests_total{kind=\"" + kind + "\",result=\"" + result + "\"}");
    }
    /// Waits until a value is reached that is counted behind a response.
    [[nodiscard]] bool reaches(const std::string& series, double wanted)
    {
        for (int i = 0; i < 3000; ++i) {
            if (value(series) == wanted) {
                return true;
            }
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }

    service::server_options options;
    std::optional<test::started_server> server;
    std::string text;
};

TEST_F(metrics, count_requests_by_kind_and_result)
{
    options.max_body = 100;
    start();
    wire_client client = server->client();
    (void)client.ask(test::options_request());
    (void)client.ask(test::health_request());
    (void)client.ask(test::mail_request("x"));
    (void)client.ask(test::mail_request("y"));
    (void)client.ask(test::mail_request(service::antivirus_test_text()));
    (void)client.ask(test::mail_request(service::repairable_test_text()));
    (void)client.ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4));
    (void)client.ask(test::chunk("456789") + "0\r\n\r\n");
    (void)client.ask(test::options_request("icap://127.0.0.1/other"));
    (void)client.ask(test::mail_request(std::string(101, 'x')));
    (void)server->client().ask("nonsense\r\n\r\n");
    EXPECT_EQ(requests("options", "answered"), 1);
    EXPECT_EQ(requests("health", "clean"), 1);
    EXPECT_EQ(requests("reqmod", "clean"), 2);
    EXPECT_EQ(requests("reqmod", "blocked"), 1);
    EXPECT_EQ(requests("reqmod", "repaired"), 1);
    EXPECT_EQ(requests("respmod", "clean"), 1);
    EXPECT_EQ(requests("options", "not_found"), 1);
    EXPECT_EQ(requests("reqmod", "bad_request"), 1);
    EXPECT_EQ(requests("unknown", "bad_request"), 1);
    double all = 0;
    for (const auto& [series, count] : read()) {
        all += series.starts_with("postwarden_service_requests_total{") ? count : 0;
    }
    EXPECT_EQ(all, 10);
    EXPECT_EQ(value("scan_seconds_count"), 5);
    EXPECT_EQ(value("scan_wait_seconds_count"), 5);
}

TEST_F(metrics, count_the_use_of_the_cache)
{
    options.custom_engine = std::make_shared<test::slow_engine>();
    options.cache_entries = 10;
    start();
    wire_client client = server->client();
    (void)client.ask(test::options_request()); // probes the engine
    for (const char* const object : {"x", "y", "x", "x"}) {
        EXPECT_EQ(client.ask(test::mail_request(object)).status(), 204U);
    }
    EXPECT_EQ(value("cache_hits_total"), 2);
    EXPECT_EQ(value("cache_misses_total"), 2);
    EXPECT_EQ(value("cache_entries"), 2);
}

TEST_F(metrics, count_what_ends_without_a_verdict)
{
    const auto slow = std::make_shared<test::slow_engine>();
    options.custom_engine = slow;
    options.scan_threads = 1;
    options.scan_timeout = 30s;
    start();
    const std::string slow_mail = test::mail_request(std::string(test::slow_engine::slow_size, 'x'));
    wire_client scanning = server->client();
    scanning.send(slow_mail);
    ASSERT_TRUE(slow->wait_for_scans(1));
    wire_client waiting = server->client();
    waiting.send(slow_mail);
    EXPECT_TRUE(reaches("scans_waiting", 1));
    EXPECT_EQ(value("scans_running"), 1);
    waiting.socket().reset();
    EXPECT_TRUE(reaches("scans_waiting", 0));
    scanning.socket().reset();
    EXPECT_TRUE(reaches("scans_running", 0));
    EXPECT_EQ(requests("reqmod", "abandoned"), 2);
    wire_client half = server->client();
    half.send("REQMOD");
    server->client().socket().reset(); // sends nothing: no request
    half.socket().reset();
    EXPECT_TRUE(reaches("requests_total{kind=\"unknown\",result=\"abandoned\"}", 1));
    slow->set_state("1", "gone");
    EXPECT_EQ(server->client().ask(test::health_request()).status(), 500U);
    EXPECT_EQ(requests("health", "error"), 1);
    EXPECT_EQ(value("engine_up{engine=\"slow\",number=\"1\"}"), 0);
    slow->set_state("2", "");
    (void)server->client().ask(test::options_request());
    EXPECT_EQ(value("engine_up{engine=\"slow\",number=\"1\"}"), 1);
    EXPECT_EQ(value("istag_changes_total"), 1);
}

TEST_F(metrics, count_time_outs)
{
    const auto slow = std::make_shared<test::slow_engine>();
    options.custom_engine = slow;
    options.scan_timeout = 50ms;
    start();
    EXPECT_EQ(server->client().ask(test::mail_request(std::string(test::slow_engine::slow_size, 'x'))).status(), 500U);
    EXPECT_EQ(requests("reqmod", "timeout"), 1);
    EXPECT_TRUE(reaches("scans_running", 0));
    EXPECT_EQ(requests("reqmod", "error"), 0);
}

TEST_F(metrics, count_connections_and_bytes)
{
    options.max_connections = 2;
    start();
    const std::string preview = test::object_request_head(10, 4) + test::bare_preview("0123456789", 4);
    wire_client busy = server->client();
    (void)busy.ask(preview);
    wire_client idle = server->client();
    const std::string request = test::mail_request("x");
    (void)idle.ask(request);
    EXPECT_EQ(value("connections"), 2);
    wire_client next = server->client();
    (void)next.ask(preview);
    EXPECT_EQ(server->client().ask(request).status(), 503U);
    EXPECT_EQ(value("connections_accepted_total"), 3);
    EXPECT_EQ(value("connections_evicted_total"), 1);
    EXPECT_EQ(value("connections_refused_total"), 1);
    EXPECT_EQ(requests("unknown", "refused"), 1);
    EXPECT_EQ(value("received_bytes_total"), 2 * preview.size() + request.size());
    EXPECT_GT(value("sent_bytes_total"), 0);
}

TEST_F(metrics, contain_the_state_of_each_engine)
{
    const std::uint16_t nobody = test::loopback_socket::listen().port();
    options.engines = {"builtin", "clamd:tcp:127.0.0.1:" + std::to_string(nobody) + ",builtin"};
    start();
    EXPECT_EQ(server->client().ask(test::options_request()).status(), 200U);
    EXPECT_EQ(value("engine_up{engine=\"builtin\",number=\"1\"}"), 1);
    EXPECT_EQ(value("engine_up{engine=\"clamd\",number=\"2\"}"), 0);
    EXPECT_EQ(value("engine_up{engine=\"builtin\",number=\"3\"}"), 1);
}

TEST_F(metrics, contain_the_bytes_of_unfinished_objects)
{
    start();
    EXPECT_EQ(value("body_bytes"), 0);
    wire_client client = server->client();
    EXPECT_EQ(client.ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4)).status(), 100U);
    EXPECT_GE(value("body_bytes"), 4);
    EXPECT_EQ(client.ask(test::chunk("456789") + "0\r\n\r\n").status(), 204U);
    EXPECT_TRUE(reaches("body_bytes", 0));
}

TEST_F(metrics, contain_neither_names_nor_subjects_nor_addresses)
{
    start();
    (void)server->client().ask(test::mail_request("secret-body", "X-Mail-Subject: secret-subject\r\nAllow: 204\r\n"));
    (void)read();
    for (const std::string_view secret : {"secret", "127.0.0.1", "EICAR", "webscan"}) {
        EXPECT_EQ(text.find(secret), std::string::npos) << secret;
    }
}

TEST_F(metrics, count_another_engine_as_a_change_of_the_tag)
{
    start();
    EXPECT_EQ(value("istag_changes_total"), 0);
    options.preview = 1;
    server->server().reconfigure(options);
    EXPECT_EQ(value("istag_changes_total"), 0);
    options.custom_engine = std::make_shared<test::slow_engine>();
    server->server().reconfigure(options);
    EXPECT_EQ(value("istag_changes_total"), 1);
    EXPECT_EQ(value("engine_up{engine=\"slow\",number=\"1\"}"), 1);
}

TEST_F(metrics, count_other_lists_as_a_change_of_the_tag)
{
    start();
    options.lists.forbidden_names = {"*.exe"};
    server->server().reconfigure(options);
    EXPECT_EQ(value("istag_changes_total"), 1);
    server->server().reconfigure(options);
    EXPECT_EQ(value("istag_changes_total"), 1);
}

TEST_F(metrics, are_only_there_if_wanted)
{
    options.metrics_port.reset();
    start();
    EXPECT_EQ(server->server().metrics_port(), 0);
    const test::loopback_socket taken = test::loopback_socket::listen();
    options.metrics_port = taken.port();
    service::scan_server second(options);
    try {
        second.start();
        ADD_FAILURE() << "two servers on one port";
    } catch (const std::system_error& failure) {
        EXPECT_THAT(failure.what(), StartsWith("metrics port " + std::to_string(taken.port()) + ": "));
    }
    EXPECT_EQ(second.port(), 0);
    EXPECT_THROW(second.start(), std::system_error);
}

TEST_F(metrics, are_read_beside_peers_that_send_nothing_or_too_much)
{
    start();
    EXPECT_THAT(get("GET /other HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 404 "));
    EXPECT_THAT(get("GET /metrics HTTP/1.1\r\nX: " + std::string(100000, 'x')), StartsWith("HTTP/1.1 431 "));
    constexpr std::size_t most = service::metrics_server::most_sessions;
    std::vector<wire_client> silent;
    for (std::size_t i = 0; i < 3 * most; ++i) {
        silent.push_back(monitor());
        silent.back().send("GET");
    }
    // The oldest gave way to the youngest, which are closed when their time is over.
    for (std::size_t i = 0; i < 2 * most; ++i) {
        EXPECT_TRUE(silent[i].closed_by_service());
    }
    silent.back().send(" /metrics HTTP/1.1\r\n\r\n");
    EXPECT_THAT(silent.back().read_to_end(), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(value("connections"), 0);
    for (std::size_t i = 2 * most; i + 1 < 3 * most; ++i) {
        EXPECT_TRUE(silent[i].closed_by_service());
    }
}

TEST_F(metrics, keep_no_server_from_stopping)
{
    start();
    wire_client silent = monitor();
    silent.send("GET");
    server->server().stop();
    EXPECT_TRUE(silent.closed_by_service());
}

} // namespace metrics_test
