#include "tool/system/clock.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

TEST(clock, ticks_never_run_backwards)
{
    const auto& clock = winapi::system_time_source();
    std::uint32_t before = clock.tick_count();
    for (int i = 0; i < 1000; ++i) {
        const std::uint32_t now = clock.tick_count();
        EXPECT_LT(now - before, 0x80000000U); // as the difference of a wrapping counter
        before = now;
    }
}

TEST(clock, system_ticks_count_hundreds_of_nanoseconds_since_1601)
{
    constexpr std::uint64_t epoch_distance_seconds = 11644473600U;
    const auto unix_now = [] {
        const auto since = std::chrono::system_clock::now().time_since_epoch();
        return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::seconds>(since).count());
    };
    const std::uint64_t before = unix_now();
    const std::uint64_t ticks = winapi::system_time_source().system_ticks();
    const std::uint64_t after = unix_now();
    const std::uint64_t seconds = ticks / 10000000U - epoch_distance_seconds;
    EXPECT_GE(seconds + 1, before); // one second of slack for a clock of coarser steps
    EXPECT_LE(seconds, after + 1);
}

TEST(clock, gives_the_same_source_each_time)
{
    EXPECT_EQ(&winapi::system_time_source(), &winapi::system_time_source());
}

} // namespace
