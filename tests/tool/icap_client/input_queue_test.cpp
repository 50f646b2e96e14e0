#include "tool/icap_client/input_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using icap::buffer;
using icap::client::input_queue;

std::shared_ptr<buffer> buffer_of(const std::string& text)
{
    return std::make_shared<buffer>(text.data(), text.data() + text.size());
}

/// Stores the buffers that it receives, and blocks the queue while its gate is closed.
class collector
{
public:
    static void handle(void* self, const buffer& bytes) { static_cast<collector*>(self)->take(bytes); }

    void close_gate()
    {
        const std::lock_guard guard(lock_);
        open_ = false;
    }
    void open_gate()
    {
        const std::lock_guard guard(lock_);
        open_ = true;
        changed_.notify_all();
    }
    bool wait_for(std::size_t count)
    {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, std::chrono::seconds(60), [&] { return taken_.size() >= count; });
    }
    bool wait_until_inside()
    {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, std::chrono::seconds(60), [&] { return inside_ != 0; });
    }
    std::vector<std::string> taken()
    {
        const std::lock_guard guard(lock_);
        return taken_;
    }
    int most_inside()
    {
        const std::lock_guard guard(lock_);
        return most_inside_;
    }

private:
    void take(const buffer& bytes)
    {
        std::unique_lock guard(lock_);
        most_inside_ = std::max(most_inside_, ++inside_);
        changed_.notify_all();
        changed_.wait(guard, [&] { return open_; });
        taken_.emplace_back(bytes.begin(), bytes.end());
        --inside_;
        changed_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<std::string> taken_;
    bool open_ = true;
    int inside_ = 0;
    int most_inside_ = 0;
};

TEST(Buffer, CopiesItsBytes)
{
    std::string text = "abc";
    const auto copy = buffer_of(text);
    text = "xyz";
    EXPECT_EQ(std::string(copy->begin(), copy->end()), "abc");
    EXPECT_EQ(copy->size(), 3U);
}

TEST(InputQueue, HandlesBuffersInTheOrderOfTheirComing)
{
    collector taken;
    input_queue queue(&collector::handle, &taken);
    std::vector<std::string> expected;
    for (int number = 0; number < 1000; ++number) {
        expected.push_back(std::to_string(number));
        queue.push(buffer_of(expected.back()));
    }
    ASSERT_TRUE(taken.wait_for(expected.size()));
    EXPECT_EQ(taken.taken(), expected);
}

TEST(InputQueue, RunsOneHandlerAtATimeForSeveralSenders)
{
    collector taken;
    input_queue queue(&collector::handle, &taken);
    std::vector<std::thread> senders;
    for (int sender = 0; sender < 4; ++sender) {
        senders.emplace_back([&queue] {
            for (int number = 0; number < 250; ++number) {
                queue.push(buffer_of("x"));
            }
        });
    }
    for (auto& sender : senders) {
        sender.join();
    }
    ASSERT_TRUE(taken.wait_for(1000));
    EXPECT_EQ(taken.most_inside(), 1);
}

TEST(InputQueue, PushWhileADrainRunsOnlyAppends)
{
    collector taken;
    input_queue queue(&collector::handle, &taken);
    taken.close_gate();
    queue.push(buffer_of("first"));
    ASSERT_TRUE(taken.wait_until_inside());
    queue.push(buffer_of("second"));
    queue.push(buffer_of("third"));
    EXPECT_EQ(queue.size(), 2U);
    taken.open_gate();
    ASSERT_TRUE(taken.wait_for(3));
    EXPECT_EQ(taken.taken(), (std::vector<std::string>{"first", "second", "third"}));
}

TEST(InputQueue, LetsASenderWaitForRoom)
{
    constexpr std::size_t buffers = 100;
    collector taken;
    input_queue queue(&collector::handle, &taken, 10);
    taken.close_gate();
    queue.push(buffer_of("0"));
    ASSERT_TRUE(taken.wait_until_inside());
    std::vector<std::string> expected{"0"};
    std::thread sender([&] {
        for (std::size_t number = 1; number < buffers; ++number) {
            queue.push(buffer_of("xyz"));
        }
    });
    while (queue.size() < 3) {
        std::this_thread::yield();
    }
    for (int chance = 0; chance < 1000 && queue.size() == 3; ++chance) {
        std::this_thread::yield();
    }
    EXPECT_EQ(queue.size(), 3U) << "nine bytes wait, and three more do not fit";
    taken.open_gate();
    ASSERT_TRUE(taken.wait_for(buffers));
    sender.join();
    expected.resize(buffers, "xyz");
    EXPECT_EQ(taken.taken(), expected);
}

TEST(InputQueue, TakesABufferThatIsLargerThanItsCapacity)
{
    collector taken;
    input_queue queue(&collector::handle, &taken, 2);
    queue.push(buffer_of("abc"));
    queue.push(buffer_of("def"));
    ASSERT_TRUE(taken.wait_for(2));
}

TEST(InputQueue, StopLetsAWaitingSenderGo)
{
    collector taken;
    input_queue queue(&collector::handle, &taken, 1);
    taken.close_gate();
    queue.push(buffer_of("a"));
    ASSERT_TRUE(taken.wait_until_inside());
    queue.push(buffer_of("b"));
    std::thread sender([&] { queue.push(buffer_of("c")); });
    std::thread stopper([&] { queue.stop(); });
    sender.join(); // the handler still runs
    taken.open_gate();
    stopper.join();
    EXPECT_EQ(taken.taken(), (std::vector<std::string>{"a"}));
}

TEST(InputQueue, DrainsAgainAfterItRanDry)
{
    collector taken;
    input_queue queue(&collector::handle, &taken);
    for (std::size_t round = 1; round <= 50; ++round) {
        queue.push(buffer_of("x"));
        ASSERT_TRUE(taken.wait_for(round));
    }
}

TEST(InputQueue, StopWaitsForARunningHandlerAndLeavesTheRest)
{
    collector taken;
    input_queue queue(&collector::handle, &taken);
    taken.close_gate();
    queue.push(buffer_of("first"));
    ASSERT_TRUE(taken.wait_until_inside());
    queue.push(buffer_of("second"));
    std::vector<std::string> taken_at_return;
    std::thread stopper([&] {
        queue.stop();
        taken_at_return = taken.taken();
    });
    while (!queue.is_stopping()) {
        std::this_thread::yield();
    }
    taken.open_gate();
    stopper.join();
    EXPECT_EQ(taken_at_return, (std::vector<std::string>{"first"})) << "the handler had returned";
    queue.push(buffer_of("third"));
    EXPECT_EQ(taken.taken(), (std::vector<std::string>{"first"}));
    EXPECT_EQ(queue.size(), 2U);
}

TEST(InputQueue, StopsTwice)
{
    collector taken;
    input_queue queue(&collector::handle, &taken);
    queue.stop();
    queue.stop();
}

} // namespace
