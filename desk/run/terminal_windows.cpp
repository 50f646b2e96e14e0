#include "desk/run/terminal.h"
#include "desk/run/wide_arguments_windows.h"
#include "tool/system/conversions.h"

#include <windows.h>

#include <iostream>

namespace host {

console process_console(std::string_view program)
{
    SetConsoleOutputCP(CP_UTF8);
    console made{std::cout, std::cerr};
    made.program = program;
    DWORD mode = 0;
    made.shows_progress = GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) != 0) {
        made.width = static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left) + 1;
    }
    return made;
}

std::vector<std::string> utf8_arguments(int count, const wchar_t* const* arguments)
{
    std::vector<std::string> result;
    result.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        result.push_back(winapi::conv_to_char(arguments[i], winapi::code_page_utf8));
    }
    return result;
}

} // namespace host
