#include "service/manager/commands.h"
#include "service/program/console.h"
#include "service/program/managed_windows.h"
#include "tool/system/conversions.h"

#include <iostream>
#include <string>
#include <vector>

int wmain(int count, wchar_t** arguments)
{
    std::vector<std::wstring> given(arguments + (count == 0 ? 0 : 1), arguments + count);
    if (const auto status = manager::run_command(given, service::problems_of_service, std::cout, std::cerr)) {
        return *status;
    }
    const bool by_hand = !given.empty() && given.front() == L"run";
    if (by_hand) {
        given.erase(given.begin());
    }
    std::vector<std::string> options;
    options.reserve(given.size());
    for (const std::wstring& one : given) {
        options.push_back(winapi::conv_to_char(one));
    }
    return !by_hand && service::run_as_service(options) ? 0 : service::run_on_console(options);
}
