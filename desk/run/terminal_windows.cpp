#include "desk/run/terminal.h"
#include "desk/run/wide_arguments_windows.h"
#include "tool/system/conversions.h"

#include <windows.h>

#include <iostream>

namespace host {

namespace {

/// Enables the sequences that erase a line and set colours. Returns false for everything that is no terminal with them.
bool is_capable_terminal(DWORD standard_handle)
{
    const HANDLE handle = GetStdHandle(standard_handle);
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != 0 && SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

/// Returns the columns of a terminal; 0 if there is none.
std::size_t columns_of_terminal(DWORD standard_handle)
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    return GetConsoleScreenBufferInfo(GetStdHandle(standard_handle), &info) != 0
               ? static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left) + 1
               : 0;
}

std::size_t progress_columns()
{
    constexpr std::size_t usual = 80;
    const std::size_t columns = columns_of_terminal(STD_ERROR_HANDLE);
    return columns == 0 ? usual : columns;
}

} // namespace

console process_console(std::string_view program)
{
    SetConsoleOutputCP(CP_UTF8);
    console made{std::cout, std::cerr};
    made.program = program;
    DWORD mode = 0;
    made.out_is_terminal = GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
    made.shows_progress = is_capable_terminal(STD_ERROR_HANDLE);
    made.shows_colours =
        is_capable_terminal(STD_OUTPUT_HANDLE) && GetEnvironmentVariableW(L"NO_COLOR", nullptr, 0) <= 1;
    made.progress_width = progress_columns;
    if (const std::size_t columns = columns_of_terminal(STD_OUTPUT_HANDLE); columns != 0) {
        made.width = columns;
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
