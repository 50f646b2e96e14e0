#include "service/metrics/exposition.h"
#include "service/metrics/metrics_request.h"
#include "tests/service/metrics/exposition_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace exposition_test {

using namespace std::chrono_literals;
using testing::StartsWith;

TEST(exposition, contains_what_was_counted)
{
    service::service_metrics metrics;
    metrics.count(service::request_kind::reqmod, service::request_result::blocked);
    metrics.count(service::request_kind::reqmod, service::request_result::blocked);
    metrics.bytes_received.add(5000000000);
    metrics.reloads_rejected.add();
    auto read = test::exposition_reader::read(
        service::exposition(metrics, {3, 2, 1, 8, {{"builtin", true}, {"clamd", false}, {"clamd", true}}, 7, 6, 5}));
    const std::pair<std::string, double> values[] = {
        {R"(requests_total{kind="reqmod",result="blocked"})", 2},
        {R"(requests_total{kind="options",result="answered"})", 0},
        {"received_bytes_total", 5e9},
        {"sent_bytes_total", 0},
        {"cache_entries", 7},
        {"cache_hits_total", 6},
        {"cache_misses_total", 5},
        {"body_bytes", 8},
        {"connections", 3},
        {"scans_waiting", 2},
        {"scans_running", 1},
        {R"(reloads_total{result="applied"})", 0},
        {R"(reloads_total{result="rejected"})", 1},
        {R"(engine_up{engine="builtin",number="1"})", 1},
        {R"(engine_up{engine="clamd",number="2"})", 0},
        {R"(engine_up{engine="clamd",number="3"})", 1},
    };
    for (const auto& [series, value] : values) {
        EXPECT_EQ(read.at("postwarden_service_" + series), value) << series;
    }
}

TEST(exposition, contains_versions_of_engines_that_are_known)
{
    const auto read = test::exposition_reader::read(service::exposition(
        {}, {0,
             0,
             0,
             0,
             {{"builtin", true}, {"icap", true, {"\"tag\"", {}}}, {"clamd", false, {"V/1/then", 1726475400}}}}));
    std::map<std::string, double> known;
    for (const auto& [series, value] : read) {
        if (series.find("engine_info") != std::string::npos || series.find("engine_signatures") != std::string::npos) {
            known.emplace(series, value);
        }
    }
    const std::map<std::string, double> expected{
        {"postwarden_service_engine_info{engine=\"icap\",number=\"2\",version=\"\"tag\"\"}", 1},
        {"postwarden_service_engine_info{engine=\"clamd\",number=\"3\",version=\"V/1/then\"}", 1},
        {"postwarden_service_engine_signatures_timestamp_seconds{engine=\"clamd\",number=\"3\"}", 1726475400}};
    EXPECT_EQ(known, expected);
}

TEST(exposition, escapes_the_values_of_labels)
{
    const std::string name = "a\"b\\c\nd";
    const auto read = test::exposition_reader::read(service::exposition({}, {0, 0, 0, 0, {{name, true}}}));
    EXPECT_EQ(read.at("postwarden_service_engine_up{engine=\"" + name + "\",number=\"1\"}"), 1);
}

TEST(exposition, sorts_times_into_buckets)
{
    service::service_metrics metrics;
    for (const auto time : {0us, 1000us, 1001us, 2500us, 100000us, 50000000us, 50000001us}) {
        metrics.scanning.observe(time);
    }
    const auto read = test::exposition_reader::read(service::exposition(metrics, {}));
    const auto bucket = [&](const std::string& bound) {
        return read.at("postwarden_service_scan_seconds_bucket{le=\"" + bound + "\"}");
    };
    EXPECT_EQ(bucket("0.001"), 2);
    EXPECT_EQ(bucket("0.002"), 3);
    EXPECT_EQ(bucket("0.005"), 4);
    EXPECT_EQ(bucket("0.05"), 4);
    EXPECT_EQ(bucket("0.1"), 5);
    EXPECT_EQ(bucket("1"), 5);
    EXPECT_EQ(bucket("50"), 6);
    EXPECT_EQ(bucket("+Inf"), 7);
    EXPECT_EQ(read.at("postwarden_service_scan_seconds_count"), 7);
    EXPECT_DOUBLE_EQ(read.at("postwarden_service_scan_seconds_sum"), 100.104502);
    EXPECT_EQ(read.at("postwarden_service_scan_wait_seconds_count"), 0);
    EXPECT_EQ(read.at("postwarden_service_scan_wait_seconds_sum"), 0);
}

TEST(exposition_reader, refuses_what_is_wrong)
{
    const std::string family = "# HELP a_total x\n# TYPE a_total counter\n";
    const std::string histogram = "# HELP h x\n# TYPE h histogram\n";
    EXPECT_NO_THROW(test::exposition_reader::read(family + "a_total 1\n"));
    EXPECT_NO_THROW(test::exposition_reader::read(
        histogram + "h_bucket{le=\"1\"} 1\nh_bucket{le=\"+Inf\"} 2\nh_sum 3\nh_count 2\n"));
    for (const std::string& text : {
             std::string("a_total 1\n"),
             family + "a_total 1",
             family + "a_total 1\n\n",
             family + "a_total x\n",
             family + "a_total -1\n",
             family + "b_total 1\n",
             family + "a_total 1\na_total 1\n",
             family + "a_total{b=\"\\x\"} 1\n",
             family + "a_total{b=\"1\",b=\"2\"} 1\n",
             family + "a_total 1\n" + family + "a_total{b=\"1\"} 1\n",
             std::string("# TYPE a_total counter\na_total 1\n"),
             std::string("# HELP a x\n# TYPE a counter\na 1\n"),
             histogram + "h_bucket{le=\"1\"} 1\nh_sum 1\nh_count 1\n",
             histogram + "h_bucket{le=\"+Inf\"} 1\nh_sum 1\nh_count 2\n",
             histogram + "h_bucket{le=\"+Inf\"} 1\nh_count 1\n",
             histogram + "h_bucket{le=\"1\"} 2\nh_bucket{le=\"+Inf\"} 1\nh_sum 1\nh_count 1\n",
             histogram + "h_bucket{le=\"2\"} 1\nh_bucket{le=\"1\"} 1\nh_bucket{le=\"+Inf\"} 1\nh_sum 1\nh_count 1\n",
         }) {
        EXPECT_THROW(test::exposition_reader::read(text), std::runtime_error) << text;
    }
}

TEST(metrics_request, is_answered)
{
    const auto answer = [](std::string_view head) {
        return service::answer_metrics_request(head, [] { return std::string("page\n"); });
    };
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n"
                             "Content-Length: 5\r\nConnection: close\r\n\r\n";
    const auto bad = StartsWith("HTTP/1.1 400 ");
    const auto unknown = StartsWith("HTTP/1.1 404 ");
    const std::pair<std::string_view, testing::Matcher<std::string>> answers[] = {
        {"GET /metrics HTTP/1.1\r\nHost: x", head + "page\n"},
        {"GET /metrics?x=y HTTP/1.0", head + "page\n"},
        {"HEAD /metrics HTTP/1.1", head},
        {"POST /metrics HTTP/1.1", StartsWith("HTTP/1.1 405 Method Not Allowed\r\nAllow: GET, HEAD\r\n")},
        {"GET / HTTP/1.1", unknown},
        {"GET /metricsx HTTP/1.1", unknown},
        {"", bad},
        {"GET", bad},
        {"GET /metrics", bad},
        {"GET  /metrics HTTP/1.1", bad},
        {"GET /metrics HTTP/2", bad},
        {"GET /metrics HTTP/1.1 ", bad},
    };
    for (const auto& [request, expected] : answers) {
        EXPECT_THAT(answer(std::string(request) + "\r\n\r\n"), expected) << request;
    }
}

} // namespace exposition_test
