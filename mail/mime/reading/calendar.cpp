#include "mail/mime/reading/calendar.h"

#include "tool/system/conversions.h"

#include <algorithm>

namespace host {

namespace {

/// Returns the value of the first line "NAME:value" or "NAME;...:value" with the given name.
std::string_view line_value(std::string_view calendar, std::string_view name)
{
    for (std::size_t start = 0; start < calendar.size();) {
        const std::size_t end = std::min(calendar.find('\n', start), calendar.size());
        std::string_view line = calendar.substr(start, end - start);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (line.size() > name.size() && winapi::compare_no_case(line.substr(0, name.size()), name) == 0 &&
            (line[name.size()] == ':' || line[name.size()] == ';')) {
            const std::size_t colon = line.find(':');
            return colon == std::string_view::npos ? std::string_view() : line.substr(colon + 1);
        }
        start = end + 1;
    }
    return {};
}

bool is(std::string_view value, std::string_view word)
{
    return winapi::compare_no_case(value, word) == 0;
}

std::wstring reply_class(std::string_view calendar)
{
    if (calendar.find("PARTSTAT=DECLINED") != std::string_view::npos) {
        return L"IPM.Schedule.Meeting.Resp.Neg";
    }
    if (calendar.find("PARTSTAT=TENTATIVE") != std::string_view::npos) {
        return L"IPM.Schedule.Meeting.Resp.Tent";
    }
    return L"IPM.Schedule.Meeting.Resp.Pos";
}

} // namespace

std::wstring calendar_class(std::string_view calendar, std::string_view method)
{
    const std::string_view asked = method.empty() ? line_value(calendar, "METHOD") : method;
    if (is(asked, "REQUEST") || is(asked, "CANCEL") || is(asked, "REPLY")) {
        if (calendar.find("BEGIN:VTODO") != std::string_view::npos) {
            return L"IPM.Task";
        }
        if (is(asked, "REPLY")) {
            return reply_class(calendar);
        }
        return is(asked, "CANCEL") ? L"IPM.Schedule.Meeting.Canceled" : L"IPM.Schedule.Meeting.Request";
    }
    return {};
}

} // namespace host
