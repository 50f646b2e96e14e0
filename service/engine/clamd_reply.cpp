#include "service/engine/clamd_reply.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <locale>
#include <sstream>

namespace service {

namespace {

constexpr std::array<std::string_view, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// Reads a time such as "Mon Sep 16 08:30:00 2024", in the zone of this machine.
std::optional<std::int64_t> local_time(std::string_view text)
{
    constexpr int first_year = 1900;
    std::istringstream input{std::string(text)};
    input.imbue(std::locale::classic());
    std::string day_name;
    std::string month;
    char colon = 0;
    char second_colon = 0;
    std::tm time{};
    input >> day_name >> month >> time.tm_mday >> time.tm_hour >> colon >> time.tm_min >> second_colon >> time.tm_sec >>
        time.tm_year;
    const auto* const place = std::find(months.begin(), months.end(), month);
    if (!input || colon != ':' || second_colon != ':' || place == months.end()) {
        return {};
    }
    time.tm_mon = static_cast<int>(place - months.begin());
    time.tm_year -= first_year;
    time.tm_isdst = -1;
    const std::time_t seconds = std::mktime(&time);
    return seconds > 0 ? std::optional<std::int64_t>(seconds) : std::nullopt;
}

} // namespace

std::optional<std::int64_t> clamd_signatures_time(std::string_view version)
{
    const std::size_t place = version.rfind('/');
    return place == std::string_view::npos ? std::nullopt : local_time(version.substr(place + 1));
}

verdict read_clamd_reply(std::string_view reply)
{
    constexpr std::string_view heading = "stream: ";
    constexpr std::string_view found = " FOUND";
    if (reply == "stream: OK") {
        return clean_verdict{};
    }
    if (reply.starts_with(heading) && reply.ends_with(found) && reply.size() > heading.size() + found.size()) {
        reply.remove_prefix(heading.size());
        reply.remove_suffix(found.size());
        if (reply.starts_with("Heuristics.Encrypted.") || reply.starts_with("Heuristics.Limits.Exceeded")) {
            return unchecked_verdict{printable(reply)};
        }
        return blocked_verdict{std::string(reply)};
    }
    if (reply == "INSTREAM size limit exceeded. ERROR") {
        return unchecked_verdict{"larger than the limit of clamd"};
    }
    if (reply.ends_with(" ERROR")) {
        return error_verdict{printable(reply)};
    }
    return error_verdict{"answer not understood: " + printable(reply)};
}

std::string printable(std::string_view text)
{
    std::string result(text.substr(0, 200));
    for (char& byte : result) {
        if (byte < ' ' || byte > '~') {
            byte = '?';
        }
    }
    return result;
}

} // namespace service
