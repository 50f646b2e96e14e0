#include "tool/system/time_text.h"

#include <array>
#include <chrono>
#include <ctime>

namespace winapi {

namespace {

constexpr std::array<const wchar_t*, 7> day_names{L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                                  L"Thursday", L"Friday", L"Saturday"};
constexpr std::array<const wchar_t*, 12> month_names{L"January",   L"February", L"March",    L"April",
                                                     L"May",       L"June",     L"July",     L"August",
                                                     L"September", L"October",  L"November", L"December"};

/// Times from here on are negative as signed numbers and have no date.
constexpr std::uint64_t first_refused = 0x8000000000000000U;
constexpr std::uint64_t units_per_second = 10000000U;

/// Returns the current difference of local time to UTC in units of 100 ns; positive east of Greenwich.
std::int64_t current_bias() noexcept
{
    const std::time_t now = std::time(nullptr);
    std::tm fields{};
    if (::localtime_r(&now, &fields) == nullptr) {
        return 0;
    }
    return static_cast<std::int64_t>(fields.tm_gmtoff) * static_cast<std::int64_t>(units_per_second);
}

std::wstring two_digits(unsigned value)
{
    std::wstring text = std::to_wstring(value);
    return value < 10 ? L"0" + text : text;
}

std::wstring long_date(std::chrono::sys_days day)
{
    const std::chrono::year_month_day date(day);
    const std::chrono::weekday weekday(day);
    std::wstring text = day_names[weekday.c_encoding()];
    text.append(L", ").append(month_names[static_cast<unsigned>(date.month()) - 1U]);
    text.append(L" ").append(std::to_wstring(static_cast<unsigned>(date.day())));
    text.append(L", ").append(std::to_wstring(static_cast<int>(date.year())));
    return text;
}

std::wstring time_of_day(unsigned seconds)
{
    const unsigned hour = seconds / 3600U;
    const unsigned shown_hour = hour % 12U == 0 ? 12U : hour % 12U;
    std::wstring text = std::to_wstring(shown_hour);
    text.append(L":").append(two_digits(seconds / 60U % 60U));
    text.append(L":").append(two_digits(seconds % 60U));
    text.append(hour < 12 ? L" AM" : L" PM");
    return text;
}

} // namespace

bool format_local_time(std::uint64_t file_time, std::wstring& date, std::wstring& time)
{
    date.clear();
    time.clear();
    const std::uint64_t local = file_time + static_cast<std::uint64_t>(current_bias());
    if (local >= first_refused) {
        return false;
    }
    constexpr std::uint64_t seconds_per_day = 86400U;
    const std::uint64_t seconds = local / units_per_second;
    const std::chrono::sys_days start = std::chrono::year(1601) / std::chrono::January / 1;
    date = long_date(start + std::chrono::days(seconds / seconds_per_day));
    time = time_of_day(static_cast<unsigned>(seconds % seconds_per_day));
    return true;
}

} // namespace winapi
