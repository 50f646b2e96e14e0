#include "service/engine/engine_group.h"
#include "service/engine/make_engine.h"
#include "service/scan_server.h"
#include "tests/service/engine/icap_upstream.h"
#include "tests/service/engine/planned_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace engine_group_test {

using namespace service;
using test::planned_engine;
using test::icap_upstream::described;
using test::icap_upstream::judged;
using test::icap_upstream::stored;
using testing::ElementsAre;
using testing::IsEmpty;

planned_engine::plan blocks(std::string threat)
{
    return [threat] { return blocked_verdict{threat}; };
}

planned_engine::plan repairs(std::string threat, std::string body)
{
    return [threat, body] { return repaired_verdict{threat, stored(body)}; };
}

planned_engine::plan fails(std::string why)
{
    return [why] { return error_verdict{why}; };
}

planned_engine::plan leaves_unchecked(std::string why)
{
    return [why] { return unchecked_verdict{why}; };
}

class group : public testing::Test
{
protected:
    std::string outcome_of(planned_engine::plan one, planned_engine::plan two, planned_engine::plan three)
    {
        first->set(std::move(one));
        second->set(std::move(two));
        third->set(std::move(three));
        return described(judged(engine, object));
    }

    const std::string object = std::string(200000, 'x') + "end";
    const planned_engine::plan clears = [] { return clean_verdict{}; };
    std::shared_ptr<planned_engine> first = std::make_shared<planned_engine>("a");
    std::shared_ptr<planned_engine> second = std::make_shared<planned_engine>("b");
    std::shared_ptr<planned_engine> third = std::make_shared<planned_engine>("c");
    engine_group engine{{first, second, third}};
};

TEST_F(group, has_each_object_judged_by_all)
{
    EXPECT_EQ(outcome_of(clears, clears, clears), "clean");
    for (const auto& one : {first, second, third}) {
        EXPECT_TRUE(one->take_objects() == std::vector<std::string>{object});
    }
}

TEST_F(group, condemns_what_one_condemns_and_asks_no_further)
{
    EXPECT_EQ(outcome_of(clears, blocks("B"), blocks("C")), "blocked: B");
    EXPECT_THAT(third->take_objects(), IsEmpty());
    EXPECT_EQ(outcome_of(fails("gone"), leaves_unchecked("locked"), blocks("C")), "blocked: C");
}

TEST_F(group, fails_if_one_fails_and_none_condemns)
{
    EXPECT_EQ(outcome_of(clears, fails("gone"), clears), "error: b: gone");
    EXPECT_EQ(outcome_of(leaves_unchecked("locked"), fails("gone"), fails("slow")), "error: b: gone; c: slow");
    EXPECT_EQ(outcome_of([]() -> verdict { throw std::runtime_error("broken"); }, clears, clears), "error: a: broken");
}

TEST_F(group, leaves_unchecked_what_one_leaves_unchecked_if_none_fails_or_condemns)
{
    EXPECT_EQ(outcome_of(clears, leaves_unchecked("locked"), clears), "unchecked: b: locked");
}

TEST_F(group, has_a_repaired_object_judged_by_the_others)
{
    EXPECT_EQ(outcome_of(clears, repairs("Macro", "repaired"), clears), "repaired: Macro: repaired");
    EXPECT_THAT(third->take_objects(), ElementsAre("repaired"));
    EXPECT_EQ(outcome_of(clears, clears, repairs("Macro", "repaired")), "repaired: Macro: repaired");
    EXPECT_EQ(outcome_of(clears, repairs("Macro", "repaired"), blocks("C")), "blocked: C");
    EXPECT_EQ(outcome_of(repairs("Macro", "one"), repairs("Link", "two"), clears), "repaired: Macro, Link: two");
    // What was condemned is neither passed nor left to the rules for failures.
    EXPECT_EQ(outcome_of(repairs("Macro", "one"), clears, fails("gone")), "blocked: Macro");
    EXPECT_EQ(outcome_of(repairs("Macro", "one"), clears, leaves_unchecked("locked")), "blocked: Macro");
}

TEST_F(group, clears_nothing_after_a_stop)
{
    stop_source stop;
    first->set([&] {
        stop.request_stop();
        return clean_verdict{};
    });
    EXPECT_EQ(described(judged(engine, "x", "n", stop.get_token())), "error: the service is stopping");
    EXPECT_THAT(second->take_objects(), IsEmpty());
}

TEST_F(group, changes_its_identity_with_that_of_any_member)
{
    EXPECT_EQ(engine.identity({}), "a a-1 | b b-1 | c c-1");
    third->set_state({"c-2", ""});
    EXPECT_EQ(engine.identity({}), "a a-1 | b b-1 | c c-2");
    second->set_state({"b|\\", ""});
    EXPECT_EQ(engine.identity({}), "a a-1 | b b\\|\\\\ | c c-2");
}

TEST_F(group, cannot_judge_if_one_cannot)
{
    EXPECT_EQ(engine.probe({}).fault, "");
    second->set_state({"b-1", "gone"});
    EXPECT_EQ(engine.probe({}).fault, "b: gone");
    EXPECT_EQ(engine.probe({}).identity, "a a-1 | b b-1 | c c-1");
    third->set_state({"c-1", "slow", "part"});
    EXPECT_EQ(engine.probe({}).fault, "b: gone; c: slow");
    EXPECT_EQ(engine.probe({}).remark, "c: part");
}

TEST(make_engines, makes_groups_of_alternatives)
{
    EXPECT_EQ(make_engines({"builtin"})->name(), "builtin");
    EXPECT_EQ(make_engines({"builtin,icap://host/s"})->name(), "alternatives");
    EXPECT_EQ(make_engines({"builtin", "clamd:tcp:localhost:1"})->name(), "engines");
    EXPECT_EQ(make_engines({"builtin", "builtin,builtin"})->identity({}),
              "builtin builtin-1 | alternatives builtin builtin-1 \\| builtin builtin-1");
    EXPECT_THROW((void)make_engines({}), std::invalid_argument);
    EXPECT_THROW((void)make_engines({"builtin", "none"}), std::invalid_argument);
    EXPECT_THROW((void)make_engines({"builtin,"}), std::invalid_argument);
    EXPECT_THROW((void)make_engines({"builtin", ""}), std::invalid_argument);
}

TEST(several_engines, judge_behind_the_service)
{
    test::scripted_peer upstream({test::icap_upstream::after_options()
                                      .expect_until(test::icap_upstream::whole)
                                      .send(test::icap_upstream::modified("page", "X-Virus-ID: Other\r\n"))});
    server_options options;
    options.engines = {"builtin", "clamd:tcp:127.0.0.1:1,icap://127.0.0.1:" + std::to_string(upstream.port()) + "/s"};
    const test::started_server server(options);
    const test::answer found = server.client().ask(test::mail_request("hello"));
    EXPECT_EQ(found.status(), 200U);
    EXPECT_EQ(found.field("X-Infection-Found"), "Type=0;Resolution=2;Threat=Other;");
}

} // namespace engine_group_test
