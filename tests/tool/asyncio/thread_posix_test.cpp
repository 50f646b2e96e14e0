#include "tool/asyncio/thread.h"
#include "tool/asyncio/wait_for_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

std::atomic<bool> objects_are_gone{false};

/// An object of a thread whose destruction takes a while.
struct slow_farewell
{
    ~slow_farewell()
    {
        for (int chance = 0; chance < 100; ++chance) {
            std::this_thread::yield();
        }
        objects_are_gone = true;
    }
    bool used = false;
};

TEST(WaitForThread, AlsoWaitsForTheObjectsOfTheThread)
{
    const auto handle = tpl::start_thread(
        [](void*) {
            thread_local slow_farewell object;
            object.used = true;
        },
        nullptr);
    EXPECT_TRUE(tpl::wait_for_thread(handle, tpl::infinite));
    EXPECT_TRUE(objects_are_gone);
}

} // namespace
