#pragma once

#include <string>
#include <string_view>

namespace host {

/// What a text/calendar part makes of a message: its message class ("IPM.Schedule.Meeting.Request", "IPM.Task", ...),
/// or nothing for a calendar that asks nobody for anything. `method` is the part's parameter; when empty, the
/// calendar's own METHOD line counts.
std::wstring calendar_class(std::string_view calendar, std::string_view method);

} // namespace host
