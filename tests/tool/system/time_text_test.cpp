#include "tool/system/clock.h"
#include "tool/system/time_text.h"

#include <gtest/gtest.h>

#include <set>

namespace {

constexpr std::uint64_t second = 10000000U;
constexpr std::uint64_t day = 86400U * second;

std::wstring date_of(std::uint64_t file_time)
{
    std::wstring date;
    std::wstring time;
    EXPECT_TRUE(winapi::format_local_time(file_time, date, time));
    return date;
}

std::wstring time_of(std::uint64_t file_time)
{
    std::wstring date;
    std::wstring time;
    EXPECT_TRUE(winapi::format_local_time(file_time, date, time));
    return time;
}

TEST(format_local_time, gives_a_date_and_a_time)
{
    const std::uint64_t now = winapi::system_time_source().system_ticks();
    EXPECT_FALSE(date_of(now).empty());
    EXPECT_FALSE(time_of(now).empty());
}

TEST(format_local_time, tells_days_and_times_apart)
{
    const std::uint64_t now = winapi::system_time_source().system_ticks();
    std::set<std::wstring> dates;
    for (std::uint64_t i = 0; i < 400; ++i) {
        dates.insert(date_of(now + i * day));
    }
    EXPECT_EQ(dates.size(), 400U);
    std::set<std::wstring> times;
    for (std::uint64_t i = 0; i < 24 * 60; ++i) {
        times.insert(time_of(now + i * 60 * second));
    }
    EXPECT_EQ(times.size(), 24U * 60U) << "before noon and after noon are told apart";
}

TEST(format_local_time, refuses_a_time_that_has_no_date)
{
    std::wstring date = L"kept from before";
    std::wstring time = date;
    EXPECT_FALSE(winapi::format_local_time(0xF000000000000000U, date, time));
    EXPECT_EQ(date, L"");
    EXPECT_EQ(time, L"");
}

} // namespace
