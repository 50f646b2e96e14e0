#include "tests/support/process_resources.h"
#include "tool/asyncio/event.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using test::process_resources;

TEST(ProcessResources, CountAThreadWhileItRunsAndNotOnceItIsJoined)
{
    const auto before = process_resources::now();
    for (int round = 0; round < 200; ++round) {
        tpl::event leave;
        std::thread running([&leave] { EXPECT_EQ(leave.wait(60000), tpl::wait_result::signalled); });
        EXPECT_EQ(process_resources::now().threads, before.threads + 1);
        leave.set();
        running.join();
        ASSERT_EQ(process_resources::now().threads, before.threads) << "round " << round;
    }
}

} // namespace
