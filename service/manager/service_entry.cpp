#include "service/manager/service_entry.h"

#include <cstddef>

namespace manager {

namespace {

/// Backslashes are doubled ahead of a quotation mark only.
std::wstring quoted(const std::wstring& argument)
{
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t one : argument) {
        if (one == L'"') {
            text.append(backslashes + 1, L'\\');
        }
        backslashes = one == L'\\' ? backslashes + 1 : 0;
        text += one;
    }
    return text.append(backslashes, L'\\').append(1, L'"');
}

} // namespace

std::wstring command_line_of(const std::wstring& program, const std::vector<std::wstring>& arguments)
{
    std::wstring line = L"\"" + program + L"\"";
    for (const std::wstring& argument : arguments) {
        const bool plain = !argument.empty() && argument.find_first_of(L" \t\"") == std::wstring::npos;
        line.append(L" ").append(plain ? argument : quoted(argument));
    }
    return line;
}

} // namespace manager
