// Faults of a daemon that judges for the service.

#include "tests/end_to_end/service_faults/clamd_stand_in.h"
#include "tests/end_to_end/service_faults/fault_desk.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>

namespace clamd_faults_test {

using namespace std::chrono_literals;
using test::conduct;

class faults_of_a_daemon : public test::fault_desk
{
protected:
    faults_of_a_daemon() { options.engines = {daemon.engine()}; }

    test::clamd_stand_in daemon;
};

struct wrong_answer
{
    const char* name;
    conduct of_daemon;
    std::uint32_t level;
    const char* line;
};

class lying_daemon : public faults_of_a_daemon, public testing::WithParamInterface<wrong_answer>
{};

TEST_P(lying_daemon, leaves_one_message_unscanned)
{
    start();
    expect_next_is_right();
    daemon.behave(GetParam().of_daemon);
    log.clear();
    expect_unscanned(open_condemned());
    expect_line(GetParam().level, GetParam().line);
    EXPECT_EQ(count_lines(200, ""), GetParam().level == 200 ? 1 : 0);
    EXPECT_EQ(count_lines(300, ""), 1);
    daemon.behave(conduct::honest);
    expect_next_is_right();
}

INSTANTIATE_TEST_SUITE_P(each, lying_daemon,
                         testing::Values(wrong_answer{"sends_garbage", conduct::garbage, 200,
                                                      ") could not judge an object: answer not understood"},
                                         wrong_answer{"closes_within_the_object", conduct::closes_in_object, 200,
                                                      ") could not judge an object: connection closed"},
                                         wrong_answer{"breaks_off_within_the_object", conduct::resets_in_object, 200,
                                                      ") could not judge an object: "},
                                         wrong_answer{"closes_within_its_answer", conduct::closes_in_answer, 200,
                                                      ") could not judge an object: connection closed within the answer"},
                                         wrong_answer{"answers_about_another_object", conduct::answers_another, 200,
                                                      ") could not judge an object: answer not understood"}),
                         [](const auto& tried) { return std::string(tried.param.name); });

TEST_F(faults_of_a_daemon, that_has_reached_its_size_limit_leaves_one_message_unchecked)
{
    start();
    daemon.behave(conduct::reaches_size_limit);
    const auto opened = open_condemned();
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_FALSE(opened.blocked);
    EXPECT_EQ(opened.verdict, ScanResult::Clean);
    expect_line(300, ") could not check '': larger than the limit of clamd");
    daemon.behave(conduct::honest);
    expect_next_is_right();
}

TEST_F(faults_of_a_daemon, that_clears_an_object_ahead_of_its_end_is_not_believed)
{
    start();
    daemon.behave(conduct::answers_early);
    const auto reader = test::reader_at(server().port(), patient);
    // More than the buffers of a connection contain, so that the answer comes while the object is sent.
    const std::string content = std::string(std::size_t{16} << 20U, 'x') + test::antivirus_test_file();
    const auto opened = reader->open(test::mail_with_attachment("See there.", "a.bin", content));
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_FALSE(opened.blocked);
    expect_line(200, ") could not judge an object: answered before the end of the object");
    daemon.behave(conduct::honest);
    expect_next_is_right();
}

TEST_F(faults_of_a_daemon, silent_beyond_the_deadline_leaves_one_message_unscanned)
{
    options.scan_timeout = 2000ms;
    start();
    daemon.behave(conduct::silent);
    expect_unscanned(open_condemned());
    expect_line(200, ") could not judge an object: no verdict within 2000 ms");
    daemon.behave(conduct::honest);
    expect_next_is_right();
}

TEST_F(faults_of_a_daemon, dead_at_the_start_leaves_mail_unscanned_until_it_is_there)
{
    options.probe_interval = 100ms;
    daemon.leave();
    start();
    expect_line(200, "the engine cannot be reached: connect: ");
    // The reader's question for the health of the service has the answer that nothing can be judged.
    const auto opened = open_condemned();
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_FALSE(opened.blocked);
    EXPECT_NE(opened.verdict, ScanResult::Blocked);
    daemon.come_back();
    expect_line(200, "the engine can be reached: ClamAV 1.0");
    expect_next_is_right();
    EXPECT_EQ(count_lines(200, "the engine cannot be reached"), 1);
}

TEST_F(faults_of_a_daemon, dying_within_a_scan_leaves_mail_unscanned_until_it_is_back)
{
    options.probe_interval = 100ms;
    start();
    expect_next_is_right();
    daemon.behave(conduct::silent);
    log.clear();
    auto opening = std::async(std::launch::async, [this] { return open_condemned(); });
    ASSERT_TRUE(daemon.wait_for_objects(3));
    daemon.leave();
    expect_unscanned(opening.get());
    expect_line(200, ") could not judge an object: "); // the session broke off, and another one could not be had
    expect_line(200, "the engine cannot be reached: ");
    log.clear();
    expect_unscanned(open_condemned());
    expect_line(200, ") could not judge an object: connect: ");
    daemon.behave(conduct::honest);
    daemon.come_back();
    expect_line(200, "the engine can be reached: ClamAV 1.0");
    expect_next_is_right();
}

TEST_F(faults_of_a_daemon, changing_its_signatures_is_noted_and_its_verdicts_go_on)
{
    options.probe_interval = 100ms;
    start();
    expect_next_is_right();
    daemon.set_version("ClamAV 2.0");
    expect_line(200, "the engine has changed: ClamAV 2.0");
    expect_next_is_right();
}

TEST_F(faults_of_a_daemon, dead_withholds_mail_with_a_notice_where_the_administrator_wants_that)
{
    options.policy.unreachable = service::treatment::block;
    start();
    expect_next_is_right();
    daemon.leave();
    log.clear();
    expect_condemned(open_harmless());
    expect_line(200, ") could not judge an object: connect: ");
    expect_line(300, ") withheld '': Unchecked.NoEngine");
    daemon.come_back();
    expect_next_is_right();
}

TEST_F(faults_of_a_daemon, that_has_reached_its_size_limit_withholds_mail_where_the_administrator_wants_that)
{
    options.policy.unchecked = service::treatment::block;
    start();
    daemon.behave(conduct::reaches_size_limit);
    expect_condemned(open_harmless());
    expect_line(300, ") could not check '': larger than the limit of clamd");
    expect_line(300, ") withheld '': Unchecked.Content");
    daemon.behave(conduct::honest);
    expect_next_is_right();
}

} // namespace clamd_faults_test
