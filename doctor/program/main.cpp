#include "doctor/bounded_step.h"
#include "doctor/doctor_command.h"
#include "service/program_version.h"
#include "tool/system/conversions.h"

#include <windows.h>

#include <cstdlib>
#include <iostream>

namespace {

std::size_t terminal_width()
{
    constexpr std::size_t usual = 100;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0) {
        return usual;
    }
    return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left) + 1;
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    SetConsoleOutputCP(CP_UTF8);
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        arguments.push_back(winapi::conv_to_char(argv[i], winapi::code_page_utf8));
    }
    const host::console where{std::cout, std::cerr, false, terminal_width(), "postwarden-doctor"};
    const int status = doctor::run(arguments, "postwarden-doctor", std::string(service::program_version()), where);
    if (doctor::is_step_left_behind()) {
        std::_Exit(status);
    }
    return status;
}
