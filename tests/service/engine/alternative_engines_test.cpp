#include "service/engine/alternative_engines.h"
#include "service/engine_watch.h"
#include "tests/service/engine/icap_upstream.h"
#include "tests/service/engine/planned_engine.h"
#include "tests/support/log_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace alternative_engines_test {

using namespace service;
using namespace std::chrono_literals;
using test::planned_engine;
using test::icap_upstream::described;
using test::icap_upstream::judged;
using testing::ElementsAre;

class alternatives : public testing::Test
{
protected:
    std::string outcome(const std::string& object = "object") { return described(judged(engine, object)); }
    /// Returns the names of the engines that the scan of one object asks.
    std::string asked()
    {
        (void)outcome();
        return names_of_those_asked();
    }
    std::string names_of_those_asked()
    {
        std::string names;
        for (const auto& one : {first, second, third}) {
            for (std::size_t i = one->take_objects().size(); i != 0; --i) {
                names += one->name();
            }
        }
        return names;
    }
    void advance(std::chrono::milliseconds time) { now += time.count(); }

    std::atomic<std::int64_t> now{1000000};
    std::shared_ptr<planned_engine> first = std::make_shared<planned_engine>("a");
    std::shared_ptr<planned_engine> second = std::make_shared<planned_engine>("b");
    std::shared_ptr<planned_engine> third = std::make_shared<planned_engine>("c");
    alternative_engines engine{{first, second, third},
                               [this] { return alternative_engines::time_point(std::chrono::milliseconds(now)); }};
};

TEST_F(alternatives, ask_the_first_while_it_works)
{
    EXPECT_EQ(outcome(), "clean");
    first->set([] { return blocked_verdict{"A"}; });
    EXPECT_EQ(outcome(), "blocked: A");
    first->set([] { return unchecked_verdict{"locked"}; });
    EXPECT_EQ(outcome(), "unchecked: locked");
    EXPECT_EQ(names_of_those_asked(), "aaa");
}

TEST_F(alternatives, ask_the_next_with_the_whole_object)
{
    const std::string object = std::string(200000, 'x') + "end";
    first->fail("gone");
    second->set([]() -> verdict { throw std::runtime_error("broken"); });
    third->set([] { return blocked_verdict{"C"}; });
    EXPECT_EQ(outcome(object), "blocked: C");
    EXPECT_TRUE(third->take_objects() == std::vector<std::string>{object});
}

TEST_F(alternatives, fail_if_all_fail)
{
    first->fail("gone");
    second->fail("slow");
    third->fail("full");
    EXPECT_EQ(outcome(), "error: a: gone; b: slow; c: full");
}

TEST_F(alternatives, leave_one_that_fails_alone_for_a_growing_while)
{
    first->fail("gone");
    EXPECT_EQ(asked(), "ab");
    for (const auto pause : {1s, 2s, 4s, 8s, 16s, 32s, 60s, 60s}) {
        EXPECT_EQ(asked(), "b");
        advance(pause - 1ms);
        EXPECT_EQ(asked(), "b") << pause.count();
        advance(1ms);
        EXPECT_EQ(asked(), "ab") << pause.count();
    }
    first->clear();
    advance(60s);
    EXPECT_EQ(asked(), "a");
    EXPECT_EQ(asked(), "a");
    // The while begins anew.
    first->fail("gone");
    EXPECT_EQ(asked(), "ab");
    advance(1s);
    EXPECT_EQ(asked(), "ab");
}

TEST_F(alternatives, try_one_that_failed_by_one_scan_only)
{
    first->fail("gone");
    EXPECT_EQ(asked(), "ab");
    advance(1s);
    std::promise<void> tried;
    std::promise<void> release;
    first->set([&]() -> verdict {
        tried.set_value();
        release.get_future().wait();
        return error_verdict{"gone"};
    });
    std::thread trial([&] { EXPECT_EQ(outcome("trial"), "clean"); });
    tried.get_future().wait();
    EXPECT_EQ(outcome("other"), "clean");
    EXPECT_THAT(first->take_objects(), ElementsAre("trial"));
    EXPECT_THAT(second->take_objects(), ElementsAre("other"));
    release.set_value();
    trial.join();
    first->clear();
    EXPECT_EQ(asked(), "bb");
    advance(2s);
    EXPECT_EQ(asked(), "a");
}

TEST_F(alternatives, count_scans_that_fail_together_once)
{
    std::promise<void> release;
    const auto released = release.get_future().share();
    std::atomic<int> under_way{0};
    first->set([&, released]() -> verdict {
        ++under_way;
        released.wait();
        return error_verdict{"gone"};
    });
    std::vector<std::thread> scans;
    for (int i = 0; i < 5; ++i) {
        scans.emplace_back([&] { EXPECT_EQ(outcome(), "clean"); });
    }
    while (under_way != 5) {
        std::this_thread::yield();
    }
    release.set_value();
    for (auto& one : scans) {
        one.join();
    }
    first->clear();
    (void)names_of_those_asked();
    EXPECT_EQ(asked(), "b");
    advance(1s);
    EXPECT_EQ(asked(), "a");
}

TEST_F(alternatives, ask_the_one_whose_while_ends_first_if_all_are_left_alone)
{
    first->fail("gone");
    second->fail("gone");
    third->fail("gone");
    EXPECT_EQ(asked(), "abc");
    EXPECT_EQ(asked(), "a"); // now left alone for two seconds
    EXPECT_EQ(asked(), "b");
    third->clear();
    EXPECT_EQ(outcome(), "clean");
    EXPECT_EQ(names_of_those_asked(), "c");
    EXPECT_EQ(asked(), "c");
}

TEST_F(alternatives, take_a_stop_for_no_failure)
{
    stop_source stop;
    first->set([&]() -> verdict {
        stop.request_stop();
        return error_verdict{"read: the service is stopping"};
    });
    EXPECT_EQ(described(judged(engine, "x", "n", stop.get_token())), "error: read: the service is stopping");
    EXPECT_EQ(names_of_those_asked(), "a");
    first->clear();
    EXPECT_EQ(asked(), "a");
}

TEST_F(alternatives, leave_one_alone_that_a_probe_cannot_reach)
{
    first->set_state({"a-1", "gone"});
    EXPECT_EQ(engine.probe({}).fault, "");
    EXPECT_EQ(asked(), "b");
    advance(1s);
    EXPECT_EQ(asked(), "a");
}

TEST_F(alternatives, cannot_judge_only_if_none_can)
{
    engine_state state = engine.probe({});
    EXPECT_EQ(state.identity, "a a-1 | b b-1 | c c-1");
    EXPECT_EQ(state.fault + state.remark, "");
    first->set_state({"a-1", "gone"});
    second->set_state({"b-2", "slow"});
    state = engine.probe({});
    EXPECT_EQ(state.identity, "a a-1 | b b-2 | c c-1");
    EXPECT_EQ(state.fault, "");
    EXPECT_EQ(state.remark, "a: gone; b: slow");
    third->set_state({"c-1", "full"});
    state = engine.probe({});
    EXPECT_EQ(state.fault, "a: gone; b: slow; c: full");
    EXPECT_EQ(state.remark, "");
}

TEST_F(alternatives, have_each_change_of_one_in_the_log)
{
    const test::log_capture log{200};
    istag tag(std::shared_ptr<scan_engine>(&engine, [](auto*) {}), {});
    engine_watch watch(tag, 0ms);
    const auto probe = [&] {
        std::promise<void> done;
        watch.refresh([&done] { done.set_value(); });
        done.get_future().wait();
    };
    second->set_state({"b-1", "slow"});
    watch.start();
    probe();
    probe();
    second->set_state({"b-1", ""});
    probe();
    probe();
    first->set_state({"a-1", "gone"});
    probe();
    second->set_state({"b-1", "gone"});
    third->set_state({"c-1", "gone"});
    probe();
    probe();
    second->set_state({"b-1", ""});
    third->set_state({"c-1", ""});
    probe();
    watch.stop();
    EXPECT_THAT(log.texts("service"),
                ElementsAre("a part of the engine cannot be reached: b: slow", "all parts of the engine can be reached",
                            "a part of the engine cannot be reached: a: gone",
                            "the engine cannot be reached: a: gone; b: gone; c: gone",
                            "the engine can be reached: a a-1 | b b-1 | c c-1",
                            "a part of the engine cannot be reached: a: gone"));
}

} // namespace alternative_engines_test
