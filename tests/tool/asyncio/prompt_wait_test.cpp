#include "tool/asyncio/prompt_wait.h"
#include "tool/asyncio/thread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using tpl::prompt_wait;
using tpl::wait_result;

/// By the number of processors: with one, a wait sleeps at once.
class PromptWait : public testing::TestWithParam<unsigned>
{
protected:
    prompt_wait wait_{GetParam()};
    tpl::event event_;
};

INSTANTIATE_TEST_SUITE_P(Processors, PromptWait, testing::Values(1U, 2U));

TEST_P(PromptWait, TakesASignalOnce)
{
    event_.set();
    EXPECT_EQ(wait_.wait(event_, tpl::infinite), wait_result::signalled);
    EXPECT_EQ(event_.wait(0), wait_result::timeout);
}

TEST_P(PromptWait, TimesOutWithoutASignal)
{
    for (int repeated = 0; repeated < 10; ++repeated) { // the first ones look, later ones sleep at once
        EXPECT_EQ(wait_.wait(event_, 0), wait_result::timeout);
        EXPECT_EQ(wait_.wait(event_, 1), wait_result::timeout);
    }
}

TEST_P(PromptWait, IsWokenByASignalThatComesLater)
{
    std::thread setter([this] {
        std::this_thread::sleep_for(10 * prompt_wait::longest_look);
        event_.set();
    });
    EXPECT_EQ(wait_.wait(event_, 60000), wait_result::signalled);
    EXPECT_EQ(event_.wait(0), wait_result::timeout);
    setter.join();
}

TEST_P(PromptWait, GivesEachOfManySignalsToOneWait)
{
    tpl::event back;
    std::thread other([&] {
        for (int repeated = 0; repeated < 2000; ++repeated) {
            EXPECT_EQ(event_.wait(60000), wait_result::signalled);
            back.set();
        }
    });
    for (int repeated = 0; repeated < 2000; ++repeated) {
        event_.set();
        ASSERT_EQ(wait_.wait(back, 60000), wait_result::signalled);
    }
    other.join();
}

TEST_P(PromptWait, ServesSeveralThreadsAtATime)
{
    std::vector<std::thread> threads;
    std::vector<tpl::event> events(4);
    for (auto& one : events) {
        threads.emplace_back([&] { EXPECT_EQ(wait_.wait(one, 60000), wait_result::signalled); });
    }
    std::for_each(events.rbegin(), events.rend(), [](tpl::event& one) { one.set(); });
    std::for_each(threads.begin(), threads.end(), [](std::thread& one) { one.join(); });
}

} // namespace
