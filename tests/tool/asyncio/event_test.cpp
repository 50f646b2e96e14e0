#include "tool/asyncio/event.h"
#include "tool/asyncio/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using tpl::wait_result;

TEST(Event, IsNotSignalledAtFirst)
{
    tpl::event event;
    EXPECT_EQ(event.wait(0), wait_result::timeout);
    EXPECT_EQ(event.wait(1), wait_result::timeout);
}

TEST(Event, LetsOneWaitThroughForOneSet)
{
    tpl::event event;
    event.set();
    EXPECT_EQ(event.wait(0), wait_result::signalled);
    EXPECT_EQ(event.wait(0), wait_result::timeout);
}

TEST(Event, KeepsOneSignalForSeveralSets)
{
    tpl::event event;
    event.set();
    event.set();
    EXPECT_EQ(event.wait(tpl::infinite), wait_result::signalled);
    EXPECT_EQ(event.wait(0), wait_result::timeout);
}

TEST(Event, WakesAThreadThatWaits)
{
    tpl::event go;
    tpl::event gone;
    std::thread waiter([&] {
        EXPECT_EQ(go.wait(tpl::infinite), wait_result::signalled);
        gone.set();
    });
    go.set();
    EXPECT_EQ(gone.wait(60000), wait_result::signalled);
    waiter.join();
}

TEST(Event, WakesEachOfManyWaitersOnce)
{
    constexpr int count = 8;
    tpl::event go;
    tpl::event gone;
    std::atomic<int> passed{0};
    std::vector<std::thread> waiters;
    for (int index = 0; index < count; ++index) {
        waiters.emplace_back([&] {
            EXPECT_EQ(go.wait(tpl::infinite), wait_result::signalled);
            ++passed;
            gone.set();
        });
    }
    for (int expected = 1; expected <= count; ++expected) {
        go.set();
        EXPECT_EQ(gone.wait(60000), wait_result::signalled);
        EXPECT_EQ(passed, expected);
    }
    for (auto& waiter : waiters) {
        waiter.join();
    }
}

TEST(Event, OrdersWhatWasWrittenBeforeTheSet)
{
    tpl::event event;
    int value = 0;
    std::thread writer([&] {
        value = 42;
        event.set();
    });
    ASSERT_EQ(event.wait(60000), wait_result::signalled);
    EXPECT_EQ(value, 42);
    writer.join();
}

TEST(Event, HasTheNumbersOfThePlatformsWaits)
{
    EXPECT_EQ(static_cast<std::uint32_t>(wait_result::signalled), 0U);
    EXPECT_EQ(static_cast<std::uint32_t>(wait_result::timeout), 258U);
    EXPECT_EQ(static_cast<std::uint32_t>(wait_result::failed), 0xFFFFFFFFU);
}

} // namespace
