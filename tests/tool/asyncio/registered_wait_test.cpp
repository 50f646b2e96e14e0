#include "tool/asyncio/registered_wait.h"
#include "tool/asyncio/thread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

namespace registered_wait_test {

using tpl::wait_result;
constexpr std::uint32_t long_wait = 60000;

TEST(RegisteredWait, RunsTheCallbackOnAnotherThreadEachTimeTheEventFires)
{
    tpl::event signal;
    tpl::event ran;
    std::atomic<int> calls{0};
    const auto self = std::this_thread::get_id();
    std::atomic<bool> on_this_thread{false};
    tpl::registered_wait wait(signal, [&] {
        on_this_thread = on_this_thread || std::this_thread::get_id() == self;
        ++calls;
        ran.set();
    });
    for (int expected = 1; expected <= 20; ++expected) {
        signal.set();
        ASSERT_EQ(ran.wait(long_wait), wait_result::signalled);
        EXPECT_EQ(calls, expected);
    }
    EXPECT_FALSE(on_this_thread);
}

TEST(RegisteredWait, RunsForASignalGivenBeforeIt)
{
    tpl::event signal;
    tpl::event ran;
    signal.set();
    tpl::registered_wait wait(signal, [&] { ran.set(); });
    EXPECT_EQ(ran.wait(long_wait), wait_result::signalled);
}

TEST(RegisteredWait, RunsOneCallbackAtATime)
{
    tpl::event signal;
    tpl::event entered;
    tpl::event leave;
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    tpl::registered_wait wait(signal, [&] {
        most = std::max(most.load(), ++inside);
        entered.set();
        EXPECT_EQ(leave.wait(long_wait), wait_result::signalled);
        --inside;
    });
    signal.set();
    ASSERT_EQ(entered.wait(long_wait), wait_result::signalled);
    signal.set(); // the second callback is due while the first runs
    EXPECT_EQ(entered.wait(50), wait_result::timeout);
    leave.set();
    ASSERT_EQ(entered.wait(long_wait), wait_result::signalled);
    leave.set();
    wait.unregister();
    EXPECT_EQ(most, 1);
}

TEST(RegisteredWait, DoesNotHoldUpOtherRegistrationsWhileItRuns)
{
    tpl::event blocked_signal;
    tpl::event entered;
    tpl::event leave;
    tpl::registered_wait blocked(blocked_signal, [&] {
        entered.set();
        EXPECT_EQ(leave.wait(long_wait), wait_result::signalled);
    });
    blocked_signal.set();
    ASSERT_EQ(entered.wait(long_wait), wait_result::signalled);
    tpl::event signal;
    tpl::event ran;
    tpl::registered_wait other(signal, [&] { ran.set(); });
    signal.set();
    EXPECT_EQ(ran.wait(long_wait), wait_result::signalled);
    leave.set();
}

TEST(RegisteredWait, UnregisteringWaitsForARunningCallback)
{
    tpl::event signal;
    tpl::event entered;
    tpl::event leave;
    std::atomic<bool> left{false};
    tpl::registered_wait wait(signal, [&] {
        entered.set();
        EXPECT_EQ(leave.wait(long_wait), wait_result::signalled);
        left = true;
    });
    signal.set();
    ASSERT_EQ(entered.wait(long_wait), wait_result::signalled);
    std::thread releaser([&] { leave.set(); });
    wait.unregister();
    EXPECT_TRUE(left);
    releaser.join();
}

TEST(RegisteredWait, RunsNoCallbackAfterUnregistering)
{
    tpl::event signal;
    std::atomic<int> calls{0};
    tpl::registered_wait wait(signal, [&] { ++calls; });
    wait.unregister();
    wait.unregister(); // does nothing
    signal.set();
    EXPECT_EQ(signal.wait(50), wait_result::signalled) << "the registration took the signal";
    EXPECT_EQ(calls, 0);
}

TEST(RegisteredWait, ThatUnregistersItselfFailsLoudly)
{
    tpl::event signal;
    tpl::event done;
    std::string text;
    std::optional<tpl::registered_wait> wait;
    wait.emplace(signal, [&] {
        try {
            wait->unregister();
        } catch (const std::runtime_error& problem) {
            text = problem.what();
        }
        done.set();
    });
    signal.set();
    ASSERT_EQ(done.wait(long_wait), wait_result::signalled);
    EXPECT_EQ(text, "error: wait on self-thread is potential deadlock");
    wait.reset();
}

TEST(RegisteredWait, SurvivesSetsThatRaceWithItsEnd)
{
    for (int round = 0; round < 50; ++round) {
        tpl::event signal;
        std::atomic<int> calls{0};
        std::thread setter;
        {
            tpl::registered_wait wait(signal, [&] { ++calls; });
            setter = std::thread([&] {
                for (int count = 0; count < 20; ++count) {
                    signal.set();
                }
            });
        }
        const int at_end = calls;
        setter.join();
        EXPECT_EQ(calls, at_end);
    }
}

} // namespace registered_wait_test
