#include "tool/system/time_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace time_text_posix_test {

constexpr std::uint64_t second = 10000000U;
/// 2026-11-21 15:04:05 UTC
constexpr std::uint64_t afternoon = 116444736000000000U + 1795273445U * second;
constexpr std::uint64_t hour = 3600U * second;

/// Sets another time zone for one test.
class time_zone
{
public:
    explicit time_zone(const char* name)
        : before_(std::getenv("TZ") != nullptr ? std::getenv("TZ") : "")
    {
        set(name);
    }
    time_zone(const time_zone&) = delete;
    time_zone& operator=(const time_zone&) = delete;
    ~time_zone()
    {
        if (before_.empty()) {
            ::unsetenv("TZ");
            ::tzset();
        } else {
            set(before_.c_str());
        }
    }

private:
    static void set(const char* name)
    {
        ::setenv("TZ", name, 1);
        ::tzset();
    }
    std::string before_;
};

std::wstring whole(std::uint64_t file_time)
{
    std::wstring date;
    std::wstring time;
    EXPECT_TRUE(winapi::format_local_time(file_time, date, time));
    return date + L" " + time;
}

TEST(format_local_time, looks_like_us_english)
{
    const time_zone utc("UTC0");
    EXPECT_EQ(whole(afternoon), L"Saturday, November 21, 2026 3:04:05 PM");
    EXPECT_EQ(whole(0), L"Monday, January 1, 1601 12:00:00 AM");
    EXPECT_EQ(whole(afternoon - 12 * hour), L"Saturday, November 21, 2026 3:04:05 AM");
    EXPECT_EQ(whole(afternoon - 3 * hour), L"Saturday, November 21, 2026 12:04:05 PM");
    EXPECT_EQ(whole(afternoon - 15 * hour), L"Saturday, November 21, 2026 12:04:05 AM");
}

TEST(format_local_time, knows_leap_days)
{
    const time_zone utc("UTC0");
    constexpr std::uint64_t leap_day = 116444736000000000U + 951782400U * second;
    EXPECT_EQ(whole(leap_day), L"Tuesday, February 29, 2000 12:00:00 AM");
    EXPECT_EQ(whole(leap_day + 24 * hour), L"Wednesday, March 1, 2000 12:00:00 AM");
}

TEST(format_local_time, shows_local_time)
{
    {
        const time_zone east("XXX-09:30");
        EXPECT_EQ(whole(afternoon), L"Sunday, November 22, 2026 12:34:05 AM");
    }
    const time_zone west("XXX8");
    EXPECT_EQ(whole(afternoon), L"Saturday, November 21, 2026 7:04:05 AM");
}

TEST(format_local_time, refuses_a_time_that_local_time_moves_before_the_first_day)
{
    const time_zone west("XXX8");
    std::wstring date;
    std::wstring time;
    EXPECT_FALSE(winapi::format_local_time(0, date, time));
}

TEST(format_local_time, reaches_to_the_last_time_that_is_not_negative)
{
    const time_zone utc("UTC0");
    EXPECT_EQ(whole(0x7FFFFFFFFFFFFFFFU), L"Thursday, September 14, 30828 2:48:05 AM");
}

} // namespace time_text_posix_test
