#include "outlook/qdmailprotect/link/restartable_timer.h"
#include "tests/outlook/qdmailprotect/link/link_fixture.h"
#include "tool/asyncio/event.h"
#include "tool/asyncio/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

using delays = std::vector<std::uint32_t>;
constexpr std::uint32_t long_wait = 60000;

class RestartableTimerTest : public ::testing::Test
{
protected:
    test::timer_journal journal;
    test::manual_timers queue{journal};
    std::atomic<int> runs{0};
    std::function<void()> on_run;
    RestartableTimer timer{queue, [this] {
                               ++runs;
                               if (on_run) {
                                   on_run();
                               }
                           }};
};

TEST_F(RestartableTimerTest, WaitsHalfASecondForTheFirstRunAndASecondBetweenRuns)
{
    EXPECT_EQ(journal.delays(), delays{});
    timer.Arm();
    EXPECT_EQ(journal.delays(), (delays{500}));
    EXPECT_EQ(runs, 0);
    EXPECT_TRUE(journal.fire());
    EXPECT_TRUE(journal.fire());
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(journal.delays(), (delays{500, 1000, 1000}));
}

TEST_F(RestartableTimerTest, MakesItsNextTimerOnlyAtTheEndOfARun)
{
    timer.Arm();
    on_run = [this] { EXPECT_FALSE(journal.waits()); };
    EXPECT_TRUE(journal.fire());
    EXPECT_TRUE(journal.waits());
}

TEST_F(RestartableTimerTest, DoesNotRunAfterItWasDisarmed)
{
    timer.Arm();
    timer.Disarm();
    EXPECT_FALSE(timer.IsArmed());
    EXPECT_FALSE(journal.waits());
    EXPECT_FALSE(journal.fire());
    EXPECT_EQ(runs, 0);
}

TEST_F(RestartableTimerTest, DisarmedByItsOwnFunctionMakesNoOtherTimerAndDoesNotWaitForItself)
{
    timer.Arm();
    on_run = [this] { timer.Disarm(); };
    EXPECT_TRUE(journal.fire());
    EXPECT_FALSE(timer.IsArmed());
    EXPECT_FALSE(journal.waits());
}

TEST_F(RestartableTimerTest, ArmedAgainBeginsWithTheFirstDelay)
{
    timer.Arm();
    EXPECT_TRUE(journal.fire());
    timer.Disarm();
    timer.Arm();
    EXPECT_EQ(journal.delays(), (delays{500, 1000, 500}));
}

TEST_F(RestartableTimerTest, DisarmedAndArmedByItsOwnFunctionBeginsWithTheFirstDelayBehindTheRun)
{
    timer.Arm();
    on_run = [this] {
        timer.Disarm();
        timer.Arm();
        EXPECT_FALSE(journal.waits()) << "never two runs at once";
    };
    EXPECT_TRUE(journal.fire());
    EXPECT_EQ(journal.delays(), (delays{500, 500}));
}

TEST_F(RestartableTimerTest, ArmedTwiceRunsOnce)
{
    timer.Arm();
    timer.Arm();
    EXPECT_EQ(journal.delays(), (delays{500}));
}

TEST_F(RestartableTimerTest, RaisesWhenThereIsNoTimer)
{
    journal.refuses = true;
    try {
        timer.Arm();
        FAIL() << "nothing was raised";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "Can't create timer queue timer");
    }
    EXPECT_FALSE(timer.IsArmed());
    journal.refuses = false;
    timer.Arm();
    EXPECT_TRUE(journal.waits());
}

TEST_F(RestartableTimerTest, StopsWithALineWhenThereIsNoTimerForTheNextRun)
{
    const test::log_capture log;
    timer.Arm();
    on_run = [this] { journal.refuses = true; };
    EXPECT_TRUE(journal.fire());
    EXPECT_FALSE(timer.IsArmed());
    EXPECT_EQ(log.lines(), (std::vector<test::log_record>{{200, "outlook", "Can't create timer queue timer"}}));
}

TEST_F(RestartableTimerTest, TakesItsTimerBackAtItsEnd)
{
    {
        RestartableTimer another(queue, [] { ADD_FAILURE() << "it ran"; });
        another.Arm();
        EXPECT_TRUE(journal.waits());
    }
    EXPECT_FALSE(journal.fire());
}

/// The platform's timers. Time passes here, but no test depends on how much.
class SystemTimers : public ::testing::Test
{
protected:
    std::unique_ptr<TimerQueue> queue = NewTimerQueue();
    tpl::event entered;
    tpl::event leave;
};

TEST_F(SystemTimers, FireOnceOnAnotherThread)
{
    std::thread::id runner;
    ASSERT_TRUE(queue->CreateTimer(1, [&] {
        runner = std::this_thread::get_id();
        entered.set();
    }));
    ASSERT_EQ(entered.wait(long_wait), tpl::wait_result::signalled);
    queue->DeleteTimer(); // waits for the end of the callback
    EXPECT_NE(runner, std::thread::id());
    EXPECT_NE(runner, std::this_thread::get_id());
}

TEST_F(SystemTimers, GoOnFromTheirOwnCallback)
{
    std::atomic<int> runs{0};
    std::function<void()> again = [&] {
        if (++runs == 20) {
            entered.set();
        } else if (!queue->CreateTimer(1, again)) {
            ADD_FAILURE() << "no timer";
        }
    };
    ASSERT_TRUE(queue->CreateTimer(0, again));
    ASSERT_EQ(entered.wait(long_wait), tpl::wait_result::signalled);
    queue->DeleteTimer();
    EXPECT_EQ(runs, 20);
}

TEST_F(SystemTimers, LetOthersFireAndTheirUserActUntilTheyAreDue)
{
    ASSERT_TRUE(queue->CreateTimer(long_wait, [] { ADD_FAILURE() << "it fired"; }));
    const std::unique_ptr<TimerQueue> other = NewTimerQueue();
    std::atomic<int> runs{0};
    std::function<void()> again = [&] {
        if (++runs == 20) {
            entered.set();
        } else if (!other->CreateTimer(1, again)) {
            ADD_FAILURE() << "no timer";
        }
    };
    ASSERT_TRUE(other->CreateTimer(1, again));
    ASSERT_EQ(entered.wait(long_wait), tpl::wait_result::signalled);
    other->DeleteTimer();
    queue->DeleteTimer();
}

TEST_F(SystemTimers, DoNotFireOnceTheyAreDeleted)
{
    std::atomic<bool> ran{false};
    ASSERT_TRUE(queue->CreateTimer(long_wait, [&] { ran = true; }));
    queue->DeleteTimer();
    ASSERT_TRUE(queue->CreateTimer(1, [&] { entered.set(); }));
    ASSERT_EQ(entered.wait(long_wait), tpl::wait_result::signalled);
    EXPECT_FALSE(ran);
}

TEST_F(SystemTimers, WaitForTheirCallbackWhenTheyAreDeleted)
{
    std::atomic<bool> ended{false};
    ASSERT_TRUE(queue->CreateTimer(0, [&] {
        entered.set();
        EXPECT_EQ(leave.wait(long_wait), tpl::wait_result::signalled);
        ended = true;
    }));
    ASSERT_EQ(entered.wait(long_wait), tpl::wait_result::signalled);
    std::thread letting_go([&] { leave.set(); });
    queue->DeleteTimer();
    EXPECT_TRUE(ended);
    letting_go.join();
}

TEST_F(SystemTimers, DeletedFromTheirCallbackDoNotWaitForIt)
{
    ASSERT_TRUE(queue->CreateTimer(0, [&] {
        queue->DeleteTimer();
        entered.set();
    }));
    EXPECT_EQ(entered.wait(long_wait), tpl::wait_result::signalled);
}

TEST_F(SystemTimers, WaitForTheirCallbackAtTheirEnd)
{
    std::atomic<bool> ended{false};
    ASSERT_TRUE(queue->CreateTimer(0, [&] {
        entered.set();
        EXPECT_EQ(leave.wait(long_wait), tpl::wait_result::signalled);
        ended = true;
    }));
    ASSERT_EQ(entered.wait(long_wait), tpl::wait_result::signalled);
    std::thread letting_go([&] { leave.set(); });
    queue.reset();
    EXPECT_TRUE(ended);
    letting_go.join();
}

TEST_F(SystemTimers, EndWithATimerThatStillWaits)
{
    ASSERT_TRUE(queue->CreateTimer(long_wait, [] { ADD_FAILURE() << "it fired"; }));
    queue.reset();
}

TEST_F(SystemTimers, DriveATimerThatIsStoppedFromAnyThread)
{
    std::atomic<int> inside{0};
    std::atomic<int> runs{0};
    RestartableTimer timer(*queue, [&] {
        EXPECT_EQ(++inside, 1);
        ++runs;
        entered.set();
        --inside;
    });
    timer.Arm();
    ASSERT_EQ(entered.wait(long_wait), tpl::wait_result::signalled);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&timer, i] {
            for (int round = 0; round < 50; ++round) {
                if ((i + round) % 2 == 0) {
                    timer.Arm();
                } else {
                    timer.Disarm();
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    timer.Disarm();
    EXPECT_EQ(inside, 0);
    EXPECT_FALSE(timer.IsArmed());
    EXPECT_GE(runs, 1);
}

} // namespace
