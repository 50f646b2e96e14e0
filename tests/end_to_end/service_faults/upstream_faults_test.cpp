// Faults of an ICAP server that judges for the service, and of engines that stand in for each other.

#include "tests/end_to_end/service_faults/clamd_stand_in.h"
#include "tests/end_to_end/service_faults/fault_desk.h"
#include "tests/end_to_end/service_faults/icap_stand_in.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace upstream_faults_test {

using namespace std::chrono_literals;
using test::upstream_conduct;

class faults_of_an_upstream : public test::fault_desk
{
protected:
    faults_of_an_upstream() { options.engines = {upstream.engine()}; }

    test::icap_stand_in upstream;
};

struct change_of_mind
{
    const char* name;
    upstream_conduct of_upstream;
    const char* line;
};

class fickle_upstream : public faults_of_an_upstream, public testing::WithParamInterface<change_of_mind>
{};

TEST_P(fickle_upstream, leaves_one_message_unscanned)
{
    start();
    expect_next_is_right();
    upstream.behave(GetParam().of_upstream);
    log.clear();
    expect_unscanned(open_condemned());
    expect_line(200, GetParam().line);
    EXPECT_EQ(count_lines(200, ""), 1);
    EXPECT_EQ(count_lines(300, ""), 1);
    upstream.behave(upstream_conduct::honest);
    expect_next_is_right();
}

INSTANTIATE_TEST_SUITE_P(each, fickle_upstream,
                         testing::Values(change_of_mind{"wants_the_rest_twice", upstream_conduct::wants_rest_twice,
                                                        ") could not judge an object: "},
                                         change_of_mind{"closes_when_the_rest_comes", upstream_conduct::closes_at_rest,
                                                        ") could not judge an object: "},
                                         change_of_mind{"fails_when_it_has_the_rest", upstream_conduct::fails_at_rest,
                                                        ") could not judge an object: 127.0.0.1 answered with status 500"}),
                         [](const auto& tried) { return std::string(tried.param.name); });

TEST_F(faults_of_an_upstream, an_answer_behind_its_answer_reaches_no_other_message)
{
    start();
    upstream.behave(upstream_conduct::clears_then_blocks);
    const auto cleared = open_harmless();
    EXPECT_EQ(cleared.verdict, ScanResult::Clean);
    upstream.behave(upstream_conduct::honest);
    const auto next = open_harmless();
    EXPECT_EQ(next.verdict, ScanResult::Clean);
    expect_next_is_right();
    EXPECT_FALSE(has_line(300, "Late"));
}

TEST_F(faults_of_an_upstream, kept_connections_that_it_has_closed_are_replaced)
{
    start();
    upstream.close_kept_connections(true);
    for (int i = 0; i < 3; ++i) {
        expect_next_is_right();
    }
    EXPECT_EQ(count_lines(200, ""), 0);
    upstream.close_kept_connections(false);
    expect_next_is_right();
    const std::size_t before = upstream.connections();
    expect_next_is_right();
    EXPECT_EQ(upstream.connections(), before);
}

TEST_F(faults_of_an_upstream, a_change_of_its_tag_is_noted_and_its_verdicts_go_on)
{
    options.probe_interval = 100ms;
    start();
    expect_next_is_right();
    upstream.set_tag("two");
    expect_line(200, "the engine has changed: scan two");
    expect_next_is_right();
}

class faults_of_alternatives : public test::fault_desk
{
protected:
    faults_of_alternatives() { options.engines = {first.engine() + "," + second.engine()}; }

    test::clamd_stand_in first;
    test::clamd_stand_in second;
};

TEST_F(faults_of_alternatives, the_other_one_judges_while_one_is_gone)
{
    start();
    expect_next_is_right();
    first.leave();
    expect_next_is_right();
    EXPECT_FALSE(has_line(200, "could not judge"));
    EXPECT_TRUE(second.wait_for_objects(2));
}

TEST_F(faults_of_alternatives, mail_is_unscanned_while_all_are_gone_and_judged_when_one_is_back)
{
    start();
    expect_next_is_right();
    first.leave();
    second.leave();
    log.clear();
    expect_unscanned(open_condemned());
    expect_line(200, ") could not judge an object: ");
    second.come_back();
    expect_next_is_right();
}

TEST_F(faults_of_alternatives, all_that_lie_leave_mail_unscanned)
{
    start();
    first.behave(test::conduct::garbage);
    second.behave(test::conduct::closes_in_answer);
    expect_unscanned(open_condemned());
    expect_line(200, ") could not judge an object: ");
    first.behave(test::conduct::honest);
    second.behave(test::conduct::honest);
    expect_next_is_right();
}

} // namespace upstream_faults_test
