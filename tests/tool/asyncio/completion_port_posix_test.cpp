#include "tests/tool/asyncio/reading_conduit.h"
#include "tool/asyncio/channel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

namespace {

/// Runs `count` completions whose handlers compute without sleeping. Returns the highest number that ran at a time.
int most_at_a_time(std::uint32_t concurrency, int count)
{
    tpl::channel channel(4, concurrency);
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    const auto compute = [&] {
        const int now = ++inside;
        int seen = most.load();
        while (seen < now && !most.compare_exchange_weak(seen, now)) {
        }
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(25);
        while (std::chrono::steady_clock::now() < end) {
        }
        --inside;
    };
    std::vector<std::unique_ptr<test::reading_conduit>> readers;
    for (int index = 0; index < count; ++index) {
        readers.push_back(std::make_unique<test::reading_conduit>(compute));
        EXPECT_TRUE(channel.attach(*readers.back()));
        EXPECT_EQ(readers.back()->start_read(), 0U);
    }
    for (auto& reader : readers) {
        EXPECT_TRUE(reader->peer().send("go"));
    }
    for (auto& reader : readers) {
        EXPECT_EQ(reader->next().bytes, "go");
    }
    channel.stop();
    return most;
}

TEST(CompletionPort, RunsOneHandlerAtATimeWhileNoneSleeps)
{
    EXPECT_EQ(most_at_a_time(1, 12), 1);
}

TEST(CompletionPort, RunsNoMoreHandlersThanTheConcurrencySays)
{
    const int most = most_at_a_time(2, 12);
    EXPECT_GE(most, 1);
    EXPECT_LE(most, 2);
}

} // namespace
