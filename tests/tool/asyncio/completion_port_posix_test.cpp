#include "tests/support/resource_limit_posix.h"
#include "tests/tool/asyncio/reading_conduit.h"
#include "tool/asyncio/channel.h"
#include "tool/asyncio/thread.h"
#include "tool/system/errors.h"

#include <platform/handles.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>
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

TEST(CompletionPort, MayHaveTheDescriptorOfAClosedStandardInput)
{
    const winapi::file_handle input(::dup(STDIN_FILENO));
    ::close(STDIN_FILENO);
    const bool first_free = test::next_descriptor() == STDIN_FILENO;
    EXPECT_NO_THROW(tpl::completion_port(1));
    EXPECT_TRUE(first_free);
    ::dup2(input.get(), STDIN_FILENO);
}

TEST(CompletionPort, RaisesAndLeavesNothingOpenWhenTheSystemRefuses)
{
    const int next = test::next_descriptor();
    for (const int further : {0, 1}) {
        try {
            const test::descriptor_limit limit(further);
            const tpl::completion_port port(1);
            ADD_FAILURE() << "nothing was raised";
        } catch (const error::win32exception& failure) {
            EXPECT_EQ(failure.code(), 10024U);
        }
    }
    EXPECT_EQ(test::next_descriptor(), next);
}

/// Returns true if every thread of this process but the caller's is asleep, as the kernel reports it.
bool others_sleep()
{
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(entry.path() / "stat");
        std::string text;
        std::getline(file, text);
        const auto state = text.find_first_not_of(' ', text.rfind(')') + 1);
        if (entry.path().filename() != std::to_string(::gettid()) && (state >= text.size() || text[state] != 'S')) {
            return false;
        }
    }
    return true;
}

/// A worker that did not take the wake-up would be woken by it again and again.
TEST(CompletionPort, LetsItsWorkersSleepBehindAWakeUp)
{
    tpl::channel channel(2, 1);
    test::reading_conduit reader;
    ASSERT_TRUE(channel.attach(reader));
    ASSERT_EQ(reader.start_read(), 0U);
    tpl::cancel_io(reader.handle());
    EXPECT_EQ(reader.next().error, 995U);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    int asleep = 0; // looks in sequence that have found all asleep
    while (asleep < 50 && std::chrono::steady_clock::now() < end) {
        asleep = others_sleep() ? asleep + 1 : 0;
    }
    EXPECT_EQ(asleep, 50);
    channel.stop();
}

} // namespace
