#include "tests/support/meeting_point.h"
#include "tool/system/once.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

TEST(once, runs_the_function_for_the_first_caller_only)
{
    winapi::once_flag flag;
    int runs = 0;
    EXPECT_FALSE(flag.is_set());
    winapi::once(flag, [&runs] { ++runs; });
    winapi::once(flag, [&runs] { ++runs; });
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(flag.is_set());
}

TEST(once, sets_the_flag_after_the_function_has_run)
{
    winapi::once_flag flag;
    bool set_inside = true;
    winapi::once(flag, [&] { set_inside = flag.is_set(); });
    EXPECT_FALSE(set_inside);
    EXPECT_TRUE(flag.is_set());
}

TEST(once, does_not_run_the_function_for_a_flag_that_is_set)
{
    winapi::once_flag flag;
    flag.set();
    bool ran = false;
    winapi::once(flag, [&ran] { ran = true; });
    EXPECT_FALSE(ran);
}

TEST(once, leaves_the_flag_clear_when_the_function_raises)
{
    winapi::once_flag flag;
    EXPECT_THROW(winapi::once(flag, [] { throw std::runtime_error("not yet"); }), std::runtime_error);
    EXPECT_FALSE(flag.is_set());
    bool ran = false;
    winapi::once(flag, [&ran] { ran = true; });
    EXPECT_TRUE(ran);
}

TEST(once, lets_many_threads_see_one_run_that_is_finished)
{
    constexpr int thread_count = 8;
    for (int round = 0; round < 50; ++round) {
        winapi::once_flag flag;
        int value = 0; // not atomic: only the guard makes it safe to read
        int runs = 0;
        test::meeting_point start(thread_count);
        std::vector<std::thread> threads;
        std::vector<int> seen(thread_count, -1);
        for (int i = 0; i < thread_count; ++i) {
            threads.emplace_back([&, i] {
                start.arrive_and_wait();
                winapi::once(flag, [&] {
                    ++runs;
                    value = 42;
                });
                seen[static_cast<std::size_t>(i)] = value;
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(runs, 1);
        EXPECT_EQ(seen, std::vector<int>(thread_count, 42));
    }
}

TEST(once, keeps_flags_apart)
{
    winapi::once_flag first;
    winapi::once_flag second;
    bool inner_ran = false;
    winapi::once(first, [&] { winapi::once(second, [&inner_ran] { inner_ran = true; }); });
    EXPECT_TRUE(inner_ran);
}

TEST(once, names_its_mutex_after_process_and_flag)
{
    const auto* const flag = reinterpret_cast<const void*>(std::uintptr_t{0xABC0});
    EXPECT_EQ(winapi::once_mutex_name(0x1F, flag), L"Local\\EF6C6B0EC6D341F8BC4AAC5E5AFA7E71"
                                                   L"1fabc0");
}

TEST(named_mutex, keeps_other_threads_out_until_it_is_given_back)
{
    const std::wstring name = L"Local\\postwarden-test-named-mutex";
    int counter = 0; // not atomic
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                const winapi::named_mutex_lock held(name);
                ++counter;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, 800);
}

TEST(named_mutex, may_be_held_several_times_over_by_one_thread)
{
    const std::wstring name = L"Local\\postwarden-test-recursive-mutex";
    std::atomic<bool> entered{false};
    std::thread other;
    {
        const winapi::named_mutex_lock outer(name);
        {
            const winapi::named_mutex_lock inner(name);
        }
        other = std::thread([&] {
            const winapi::named_mutex_lock held(name);
            entered = true;
        });
        EXPECT_FALSE(entered); // the outer lock is still held
    }
    other.join();
    EXPECT_TRUE(entered);
}

} // namespace
