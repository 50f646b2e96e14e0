#include "service/engine/stop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace {

using service::stop_callback;
using service::stop_source;
using service::stop_token;

TEST(stop_token, without_a_source_is_never_told_to_stop)
{
    const stop_token token;
    bool called = false;
    const stop_callback callback(token, [&] { called = true; });
    EXPECT_FALSE(token.stop_requested());
    EXPECT_FALSE(called);
}

TEST(stop_token, is_told_by_its_source)
{
    stop_source source;
    const stop_token token = source.get_token();
    EXPECT_FALSE(token.stop_requested());
    EXPECT_FALSE(source.stop_requested());
    source.request_stop();
    EXPECT_TRUE(token.stop_requested());
    EXPECT_TRUE(source.stop_requested());
    EXPECT_TRUE(source.get_token().stop_requested());
}

TEST(stop_token, outlives_its_source)
{
    auto source = std::make_unique<stop_source>();
    const stop_token token = source->get_token();
    source->request_stop();
    source.reset();
    EXPECT_TRUE(token.stop_requested());
}

TEST(stop_callback, is_called_once_by_the_first_request)
{
    stop_source source;
    std::string calls;
    const stop_callback first(source.get_token(), [&] { calls += '1'; });
    const stop_callback second(source.get_token(), [&] { calls += '2'; });
    EXPECT_EQ(calls, "");
    source.request_stop();
    EXPECT_EQ(calls, "12");
    source.request_stop();
    EXPECT_EQ(calls, "12");
}

TEST(stop_callback, sees_that_a_stop_is_requested)
{
    stop_source source;
    bool seen = false;
    const stop_callback callback(source.get_token(), [&] { seen = source.stop_requested(); });
    source.request_stop();
    EXPECT_TRUE(seen);
}

TEST(stop_callback, is_called_at_once_after_the_request)
{
    stop_source source;
    source.request_stop();
    bool called = false;
    const stop_callback callback(source.get_token(), [&] { called = true; });
    EXPECT_TRUE(called);
}

TEST(stop_callback, is_not_called_after_its_end)
{
    stop_source source;
    bool called = false;
    {
        const stop_callback callback(source.get_token(), [&] { called = true; });
    }
    source.request_stop();
    EXPECT_FALSE(called);
}

TEST(stop_callback, may_end_another_one_that_is_due)
{
    stop_source source;
    bool called = false;
    std::unique_ptr<stop_callback> second;
    const stop_callback first(source.get_token(), [&] { second.reset(); });
    second = std::make_unique<stop_callback>(source.get_token(), [&] { called = true; });
    source.request_stop();
    EXPECT_FALSE(called);
}

TEST(stop_callback, may_register_another_one)
{
    stop_source source;
    bool called = false;
    std::unique_ptr<stop_callback> second;
    const stop_callback first(source.get_token(), [&] {
        second = std::make_unique<stop_callback>(source.get_token(), [&] { called = true; });
    });
    source.request_stop();
    EXPECT_TRUE(called);
}

TEST(stop_callback, may_end_the_source)
{
    auto source = std::make_unique<stop_source>();
    stop_source& requested = *source;
    const stop_token token = source->get_token();
    const stop_callback callback(token, [&] { source.reset(); });
    requested.request_stop();
    EXPECT_TRUE(token.stop_requested());
}

// The end of a callback and its call meet again and again. On Windows the callback of the compiler's library hangs
// here.
TEST(stop_callback, waits_at_its_end_for_a_call_under_way_and_no_longer)
{
    for (int round = 0; round < 400; ++round) {
        stop_source source;
        std::atomic<bool> entered{false};
        std::atomic<bool> running{false};
        auto callback = std::make_unique<stop_callback>(source.get_token(), [&] {
            running = true;
            entered = true;
            std::this_thread::yield();
            running = false;
        });
        std::thread requester([&] { source.request_stop(); });
        while (!entered) {
            std::this_thread::yield();
        }
        callback.reset();
        const bool still_running = running;
        requester.join();
        ASSERT_FALSE(still_running) << round;
    }
}

} // namespace
