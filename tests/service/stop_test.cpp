#include "service/engine/scan_engine.h"
#include "service/engine/stop.h"
#include "service/scan_server.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/process_resources.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace service;
using test::answer;
using test::started_server;
using test::wire_client;

/// Blocks every scan until it is released or requested to stop.
class waiting_engine final : public scan_engine
{
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "waiting"; }
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info&, stop_token stop) override
    {
        const stop_callback on_stop(stop, [this] {
            const std::lock_guard guard(lock_);
            changed_.notify_all();
        });
        std::unique_lock guard(lock_);
        ++begun_;
        changed_.notify_all();
        changed_.wait(guard, [&] { return released_ || stop.stop_requested(); });
        if (!released_) {
            throw std::runtime_error("given up");
        }
        return std::make_unique<clean_scan>();
    }
    [[nodiscard]] std::string identity(stop_token) override { return "1"; }

    void wait_for_scans(int count)
    {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [&] { return begun_ >= count; });
    }
    void release()
    {
        const std::lock_guard guard(lock_);
        released_ = true;
        changed_.notify_all();
    }

private:
    class clean_scan final : public object_scan
    {
        bool data(std::string_view) override { return true; }
        [[nodiscard]] verdict finish(web::io_data&) override { return clean_verdict{}; }
    };
    std::mutex lock_;
    std::condition_variable changed_;
    int begun_ = 0;
    bool released_ = false;
};

TEST(stop, may_come_before_the_start_and_twice)
{
    scan_server server{{}};
    server.stop();
    server.start();
    server.stop();
    server.stop();
    EXPECT_THROW(server.start(), std::logic_error);
}

TEST(stop, closes_connections_in_every_state)
{
    started_server server;
    wire_client silent = server.client();
    wire_client used = server.client();
    EXPECT_EQ(used.ask(test::mail_request("x")).status(), 204U);
    wire_client half = server.client();
    half.send("REQMOD icap://");
    wire_client continued = server.client();
    EXPECT_EQ(continued.ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4)).status(), 100U);
    wire_client refused = server.client();
    EXPECT_EQ(refused.ask("nonsense\r\n").status(), 400U);
    server.server().stop();
    for (wire_client* const client : {&silent, &used, &half, &continued, &refused}) {
        EXPECT_TRUE(client->closed_by_service());
    }
    EXPECT_EQ(server.server().connections(), 0U);
    EXPECT_FALSE(server.client().is_connected());
}

TEST(stop, gives_up_scans_that_are_under_way_and_those_that_wait)
{
    const auto engine = std::make_shared<waiting_engine>();
    server_options options;
    options.custom_engine = engine;
    options.scan_threads = 2;
    started_server server(options);
    std::vector<wire_client> clients;
    for (int i = 0; i < 6; ++i) {
        clients.push_back(server.client());
        clients.back().send(test::mail_request("x"));
    }
    engine->wait_for_scans(2);
    server.server().stop();
    for (auto& client : clients) {
        // Nothing is cleared, whether or not there was time to send a response.
        const std::uint32_t status = client.read_answer().status();
        EXPECT_TRUE(status == 500 || status == 0) << status;
        EXPECT_TRUE(client.closed_by_service());
    }
    EXPECT_EQ(server.server().connections(), 0U);
}

TEST(stop, may_meet_clients_that_connect_and_ask_at_that_moment)
{
    for (int round = 0; round < 20; ++round) {
        started_server server;
        const std::uint16_t port = server.port();
        std::vector<std::thread> threads;
        std::promise<void> begun;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([port, i, &begun] {
                if (i == 0) {
                    begun.set_value();
                }
                for (;;) {
                    wire_client client(port);
                    if (!client.is_connected() || client.ask(test::mail_request("x")).status() != 204) {
                        return;
                    }
                }
            });
        }
        begun.get_future().wait();
        server.server().stop();
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(server.server().connections(), 0U);
    }
}

TEST(stop, leaves_no_thread_and_no_descriptor)
{
    const auto use = [] {
        started_server server;
        std::vector<wire_client> clients;
        for (int i = 0; i < 8; ++i) {
            clients.push_back(server.client());
            EXPECT_EQ(clients.back().ask(test::mail_request("x")).status(), 204U);
        }
        clients.erase(clients.begin(), clients.begin() + 4);
        server.server().stop();
    };
    use(); // objects that the process creates once
    const auto before = test::process_resources::now();
    use();
    EXPECT_EQ(test::process_resources::settled(before), before);
}

TEST(judging, a_peer_that_goes_meanwhile_costs_nothing_but_its_answer)
{
    const auto engine = std::make_shared<waiting_engine>();
    server_options options;
    options.custom_engine = engine;
    started_server server(options);
    wire_client gone = server.client();
    wire_client reset = server.client();
    wire_client staying = server.client();
    for (wire_client* const client : {&gone, &reset, &staying}) {
        client->send(test::mail_request("x"));
    }
    engine->wait_for_scans(3);
    gone.socket().close();
    reset.socket().reset();
    engine->release();
    EXPECT_EQ(staying.read_answer().status(), 204U);
    EXPECT_EQ(staying.ask(test::mail_request("x")).status(), 204U);
}

TEST(judging, outlasts_the_time_that_a_peer_may_stall)
{
    const auto engine = std::make_shared<waiting_engine>();
    server_options options;
    options.custom_engine = engine;
    options.stall_timeout = std::chrono::milliseconds(30);
    options.idle_timeout = std::chrono::milliseconds(60000);
    started_server server(options);
    wire_client client = server.client();
    client.send(test::mail_request("x"));
    engine->wait_for_scans(1);
    EXPECT_FALSE(client.socket().wait_readable(200));
    engine->release();
    EXPECT_EQ(client.read_answer().status(), 204U);
}

TEST(judging, keeps_requests_of_other_connections_waiting_for_a_free_scanner_only)
{
    const auto engine = std::make_shared<waiting_engine>();
    server_options options;
    options.custom_engine = engine;
    options.scan_threads = 1;
    options.io_threads = 1;
    started_server server(options);
    wire_client first = server.client();
    first.send(test::mail_request("x"));
    engine->wait_for_scans(1);
    // Requests that need no scanner are still answered.
    EXPECT_EQ(server.client().ask("nonsense\r\n").status(), 400U);
    wire_client second = server.client();
    EXPECT_EQ(second.ask(test::object_request_head(10, 4) + test::bare_preview("0123456789", 4)).status(), 100U);
    second.send(test::chunk("456789") + "0\r\n\r\n");
    engine->release();
    EXPECT_EQ(first.read_answer().status(), 204U);
    EXPECT_EQ(second.read_answer().status(), 204U);
}

/// Fails at a point that depends on the size of the object.
class failing_engine final : public scan_engine
{
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "failing"; }
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info& info, stop_token) override
    {
        if (info.size == 1) {
            throw std::runtime_error("cannot begin");
        }
        if (info.size == 2) {
            throw 42; // NOLINT: whatever an engine raises
        }
        return std::make_unique<failing_scan>(info.size);
    }
    [[nodiscard]] std::string identity(stop_token) override { return "1"; }

private:
    class failing_scan final : public object_scan
    {
    public:
        explicit failing_scan(std::uint64_t size)
            : size_(size)
        {}
        bool data(std::string_view) override
        {
            if (size_ == 3) {
                throw std::runtime_error("cannot take bytes");
            }
            return true;
        }
        [[nodiscard]] verdict finish(web::io_data&) override
        {
            if (size_ == 4) {
                throw std::runtime_error("cannot judge");
            }
            return error_verdict{"won't judge"};
        }

    private:
        std::uint64_t size_;
    };
};

TEST(judging, that_fails_in_any_way_is_told_and_the_connection_goes_on)
{
    server_options options;
    options.custom_engine = std::make_shared<failing_engine>();
    started_server server(options);
    wire_client client = server.client();
    for (std::size_t size = 1; size <= 5; ++size) {
        const answer reply = client.ask(test::mail_request(std::string(size, 'x')));
        EXPECT_EQ(reply.status(), 500U) << size;
        EXPECT_EQ(reply.field("Connection"), "keep-alive");
        EXPECT_EQ(reply.field("X-Infection-Found"), "");
    }
}

} // namespace
