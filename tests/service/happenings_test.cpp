// What a server reports to its administrator.

#include "service/engine_watch.h"
#include "service/happenings.h"
#include "tests/service/engine/slow_engine.h"
#include "tests/service/recorded_happenings.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace happenings_test {

using namespace std::chrono_literals;
using test::recorded_happenings;
using test::wire_client;
using testing::ElementsAre;

class happenings : public testing::Test
{
protected:
    std::shared_ptr<recorded_happenings> listener = std::make_shared<recorded_happenings>();
    std::shared_ptr<test::slow_engine> engine = std::make_shared<test::slow_engine>();
};

TEST_F(happenings, of_an_engine_are_the_ends_of_its_reach)
{
    service::istag tag{engine, {}};
    service::engine_watch watch{tag, 0ms, listener};
    watch.start();
    const auto probe = [&](const std::string& identity, const std::string& fault, const std::string& remark) {
        engine->set_state(identity, fault, remark);
        std::promise<void> done;
        watch.refresh([&done] { done.set_value(); });
        done.get_future().wait();
    };
    probe("1", "", "");
    EXPECT_THAT(listener->names(), ElementsAre());
    probe("1", "connect: refused", "");
    probe("1", "connect: no answer in time", "");
    EXPECT_THAT(listener->names(), ElementsAre("unreachable"));
    probe("2", "", "");
    probe("3", "", "");
    EXPECT_THAT(listener->names(), ElementsAre("unreachable", "reachable"));
    probe("3", "", "one of two");
    probe("3", "", "the other one of two");
    EXPECT_THAT(listener->names(), ElementsAre("unreachable", "reachable", "part unreachable"));
    probe("3", "", "");
    EXPECT_THAT(listener->names(), ElementsAre("unreachable", "reachable", "part unreachable", "all parts reachable"));
}

TEST_F(happenings, of_an_engine_that_is_probed_in_intervals_reach_the_listener_of_the_server)
{
    engine->set_state("1", "connect: refused");
    service::server_options options;
    options.custom_engine = engine;
    options.listener = listener;
    options.probe_interval = 1h;
    test::started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::options_request()).status(), 200U); // waits for the first probe
    EXPECT_THAT(listener->names(), ElementsAre("unreachable"));
    // Another interval makes another watch, and the listener remains.
    options.listener = nullptr;
    options.probe_interval = 2h;
    server.server().reconfigure(options);
    EXPECT_THAT(listener->names(), ElementsAre("unreachable", "unreachable"));
}

TEST_F(happenings, of_many_refused_connections_are_one)
{
    service::server_options options;
    options.max_connections = 1;
    options.listener = listener;
    test::started_server server(options);
    wire_client busy = server.client();
    EXPECT_EQ(busy.ask(test::options_request()).status(), 200U);
    EXPECT_EQ(busy.ask(test::object_request_head(20, 4) + test::bare_preview("0123456789", 4)).status(), 100U);
    for (int i = 0; i < 3; ++i) {
        wire_client refused = server.client();
        refused.send("x");
        EXPECT_EQ(refused.read_answer().status(), 503U);
    }
    EXPECT_THAT(listener->names(), ElementsAre("full"));
}

} // namespace happenings_test
