#pragma once

#include <string>
#include <string_view>

namespace host {

/// Returns the message class that a text/calendar part implies ("IPM.Schedule.Meeting.Request", "IPM.Task", ...); empty
/// for a calendar that requests no action. `method` is the parameter of the part; if it is empty, the calendar's METHOD
/// line is used.
std::wstring calendar_class(std::string_view calendar, std::string_view method);

} // namespace host
