#include "tool/system/time_text.h"

#include <windows.h>

#include <array>

namespace winapi {

bool format_local_time(std::uint64_t file_time, std::wstring& date, std::wstring& time)
{
    date.clear();
    time.clear();
    const FILETIME utc{static_cast<DWORD>(file_time), static_cast<DWORD>(file_time >> 32U)};
    FILETIME local{};
    SYSTEMTIME fields{};
    if (::FileTimeToLocalFileTime(&utc, &local) == 0 || ::FileTimeToSystemTime(&local, &fields) == 0) {
        return false;
    }
    std::array<wchar_t, 256> date_text{};
    std::array<wchar_t, 256> time_text{};
    if (::GetDateFormatW(LOCALE_USER_DEFAULT, DATE_LONGDATE, &fields, nullptr, date_text.data(), 256) == 0 ||
        ::GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &fields, nullptr, time_text.data(), 256) == 0) {
        return false;
    }
    date = date_text.data();
    time = time_text.data();
    return true;
}

} // namespace winapi
