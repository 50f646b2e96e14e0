#include "service/engine_watch.h"
#include "tests/service/engine/slow_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/log_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace engine_watch_test {

using namespace std::chrono_literals;
using testing::ElementsAre;

class engine_watch : public testing::Test
{
protected:
    /// Probes the engine once.
    void probe()
    {
        std::promise<void> done;
        watch.refresh([&done] { done.set_value(); });
        done.get_future().wait();
    }

    std::shared_ptr<test::slow_engine> engine = std::make_shared<test::slow_engine>();
    service::istag tag{engine, {}};
    service::engine_watch watch{tag, 0ms};
    test::log_capture log{200};
};

TEST_F(engine_watch, logs_each_change_once)
{
    watch.start();
    probe();
    probe();
    EXPECT_THAT(log.texts("service"), ElementsAre());
    engine->set_state("1", "connect: refused");
    probe();
    engine->set_state("1", "connect: no answer in time");
    probe();
    engine->set_state("1", "");
    probe();
    probe();
    engine->set_state("2", "");
    probe();
    probe();
    EXPECT_THAT(log.texts("service"), ElementsAre("the engine cannot be reached: connect: refused",
                                                  "the engine can be reached: 1", "the engine has changed: 2"));
}

TEST_F(engine_watch, logs_that_the_engine_cannot_be_reached_from_the_start)
{
    engine->set_state("", "gone\r\nforged line");
    watch.start();
    probe();
    EXPECT_THAT(log.texts("service"), ElementsAre("the engine cannot be reached: gone  forged line"));
}

/// Does during each probe what a test wants.
class probed_engine final : public service::scan_engine
{
public:
    explicit probed_engine(std::function<void()> during)
        : during_(std::move(during))
    {}
    [[nodiscard]] std::string_view name() const noexcept override { return "probed"; }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info&, service::stop_token) override
    {
        return nullptr;
    }
    [[nodiscard]] std::string identity(service::stop_token) override
    {
        during_();
        return "1";
    }

private:
    std::function<void()> during_;
};

TEST(engine_watch_stop, calls_those_that_wait_for_a_later_probe)
{
    int probes = 0;
    int called = 0;
    std::promise<void> begun;
    std::function<void()> during;
    service::istag tag(std::make_shared<probed_engine>([&during] { during(); }), {});
    service::engine_watch watch(tag, 0ms);
    during = [&] {
        if (++probes > 1) {
            return;
        }
        watch.refresh([&called] { ++called; }); // waits for the next probe
        begun.set_value();
        // Once the watch is to stop, handlers are called at once.
        for (const auto stops = std::make_shared<bool>(false); !*stops;) {
            std::this_thread::sleep_for(1ms);
            watch.refresh([stops] { *stops = true; });
        }
    };
    watch.start();
    watch.refresh([] {});
    begun.get_future().wait();
    watch.stop();
    EXPECT_EQ(called, 1);
}

TEST(probes, keep_the_tag_up_to_date_without_any_request_for_the_options)
{
    const auto engine = std::make_shared<test::slow_engine>();
    service::server_options options;
    options.custom_engine = engine;
    options.probe_interval = 10ms;
    const test::started_server server(options);
    test::wire_client client = server.client();
    const std::string first = client.ask(test::options_request()).field("ISTag");
    engine->set_state("2", "");
    std::string later = first;
    for (int i = 0; i < 3000 && later == first; ++i) {
        later = client.ask(test::mail_request("x")).field("ISTag");
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_NE(later, first);
}

TEST(probes, at_the_start_determine_the_first_answer)
{
    const auto engine = std::make_shared<test::slow_engine>();
    engine->hold_probes(true);
    service::server_options options;
    options.custom_engine = engine;
    options.probe_interval = 1h;
    const test::started_server server(options);
    test::wire_client client = server.client();
    client.send(test::options_request());
    engine->hold_probes(false);
    const std::string tag = client.read_answer().field("ISTag");
    service::istag expected(engine, {});
    EXPECT_EQ(tag, expected.refresh());
    // No further probe is waited for.
    engine->hold_probes(true);
    EXPECT_EQ(client.ask(test::options_request()).field("ISTag"), tag);
    EXPECT_EQ(client.ask(test::health_request()).status(), 204U);
}

} // namespace engine_watch_test
