#include "service/manager/commands.h"

#include "service/manager/service_database.h"
#include "tool/system/conversions.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <exception>
#include <ostream>
#include <stdexcept>
#include <string_view>

namespace manager {

namespace {

constexpr int refused = 1;
constexpr int wrong_arguments = 2;

/// A command line that cannot be executed.
class usage_problem : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct command
{
    std::wstring_view word;
    void (*act)(const std::wstring& name);
    const char* done;
};

constexpr std::array commands{
    command{L"remove", remove_service, " is removed"},
    command{L"start", start_service, " runs"},
    command{L"stop", stop_service, " has ended"},
    command{L"reload", reload_service, " reads its configuration again: the event log contains the result"},
};

/// Removes `--name NAME` or `--name=NAME`, which must precede all others, from the arguments behind the command.
std::wstring take_name(std::vector<std::wstring>& arguments)
{
    constexpr std::wstring_view option = L"--name";
    if (arguments.empty() || !arguments.front().starts_with(option)) {
        return usual_name;
    }
    const std::wstring first = arguments.front();
    std::wstring name;
    if (first.size() > option.size() && first[option.size()] == L'=') {
        name = first.substr(option.size() + 1);
        arguments.erase(arguments.begin());
    } else if (first.size() == option.size() && arguments.size() > 1) {
        name = arguments[1];
        arguments.erase(arguments.begin(), arguments.begin() + 2);
    }
    // Characters that the manager or the registry does not allow.
    if (name.empty() || name.find_first_of(L"/\\") != std::wstring::npos) {
        throw usage_problem("--name NAME: the name of a service, without / and \\");
    }
    return name;
}

std::wstring own_path()
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD size = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (size == 0) {
            throw manager_error("the path of this program: error " + std::to_string(::GetLastError()));
        }
        if (size < path.size()) {
            path.resize(size);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

void install(const std::wstring& name, const std::vector<std::wstring>& options, const option_check& problems_with,
             std::ostream& errors)
{
    if (const auto problems = problems_with(options); !problems.empty()) {
        std::string text;
        for (const std::string& problem : problems) {
            text.append(text.empty() ? "" : "\n").append(problem);
        }
        throw usage_problem(text);
    }
    const std::wstring program = own_path();
    service_entry entry;
    entry.name = name;
    entry.command = command_line_of(program, options);
    for (const std::string& what : install_service(entry, program)) {
        errors << "this system does not store the " << what << " of a service\n";
    }
}

std::string execute(const std::wstring& word, std::vector<std::wstring> rest, const option_check& problems_with,
                    std::ostream& errors)
{
    const std::wstring name = take_name(rest);
    const std::string subject = "the service " + winapi::conv_to_char(name);
    if (word == L"install") {
        install(name, rest, problems_with, errors);
        return subject + " is installed";
    }
    if (!rest.empty()) {
        throw usage_problem(winapi::conv_to_char(rest.front()) + " is no option of this command; there is --name NAME");
    }
    const auto* const found =
        std::find_if(commands.begin(), commands.end(), [&](const command& one) { return one.word == word; });
    found->act(name);
    return subject + found->done;
}

bool is_command(const std::wstring& word)
{
    return word == L"install" ||
           std::any_of(commands.begin(), commands.end(), [&](const command& one) { return one.word == word; });
}

} // namespace

std::optional<int> run_command(const std::vector<std::wstring>& arguments, const option_check& problems_with,
                               std::ostream& out, std::ostream& errors)
{
    if (arguments.empty() || !is_command(arguments.front())) {
        return std::nullopt;
    }
    try {
        out << execute(arguments.front(), {arguments.begin() + 1, arguments.end()}, problems_with, errors) << '\n';
        return 0;
    } catch (const usage_problem& problem) {
        errors << "postwarden-service: " << problem.what() << '\n';
        return wrong_arguments;
    } catch (const std::exception& problem) {
        errors << "postwarden-service: " << problem.what() << '\n';
        return refused;
    }
}

} // namespace manager
