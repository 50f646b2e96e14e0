// postwarden-configure: run by the installer, with the rights of the system, to write and remove the configuration of
// what it installs.

#include "broker/machine_configuration.h"
#include "packaging/configure/configuration_files.h"
#include "packaging/configure/configuration_texts.h"
#include "packaging/configure/installed_service.h"
#include "tool/system/conversions.h"

#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int usage_error = 2;
constexpr int run_error = 1;

constexpr const char* usage = R"(postwarden-configure service FOLDER PORT ENGINES PROGRAM
postwarden-configure broker FOLDER PORT
    writes FOLDER\service.conf or FOLDER\settings.json unless it is there. ENGINES are separated by ";".
    PROGRAM is the service, which must accept what was written.
postwarden-configure complete-service PROGRAM FILE
    makes the command line of the installed service "PROGRAM" --config FILE, and has it restarted after failures.
postwarden-configure await-end PROGRAM
    returns when no process runs PROGRAM any more.
postwarden-configure remove-service FOLDER
postwarden-configure remove-broker FOLDER
    removes this file unless it was changed, and the logs of the service.
)";

std::string narrow(const std::wstring& text)
{
    return winapi::conv_to_char(text, winapi::code_page_utf8);
}

bool execute(const std::vector<std::wstring>& words)
{
    if (words.size() < 2) {
        return false;
    }
    const std::wstring& command = words[0];
    auto folder = std::filesystem::path(words[1]).lexically_normal();
    if (!folder.has_filename()) {
        folder = folder.parent_path(); // with a backslash at its end a link would be followed
    }
    const auto settings = folder / L"settings.json";
    const auto options = folder / L"service.conf";
    const auto logs = folder / L"logs";
    if (command == L"service" && words.size() == 5) {
        const auto text = packaging::service_configuration(packaging::port_of(narrow(words[2])), narrow(words[3]),
                                                           narrow((logs / L"service.log").wstring()));
        packaging::give_to_administrators(folder);
        if (packaging::write_unless_present(options, text, broker::configured_rules()) &&
            !packaging::accepts_configuration(words[4], options.wstring())) {
            packaging::remove_unless_changed(options);
            throw std::invalid_argument("ENGINE: the service refuses \"" + narrow(words[3]) + '"');
        }
    } else if (command == L"broker" && words.size() == 3) {
        const auto text = packaging::broker_settings(packaging::port_of(narrow(words[2])));
        packaging::give_to_administrators(folder);
        packaging::write_unless_present(settings, text, broker::configured_rules());
    } else if (command == L"complete-service" && words.size() == 3) {
        packaging::complete_service(words[1], words[2]);
    } else if (command == L"await-end" && words.size() == 2) {
        packaging::await_end_of(words[1]);
    } else if (command == L"remove-service" && words.size() == 2) {
        packaging::remove_unless_changed(options);
        packaging::remove_logs(logs);
    } else if (command == L"remove-broker" && words.size() == 2) {
        packaging::remove_unless_changed(settings);
    } else {
        return false;
    }
    return true;
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    try {
        if (execute({argv + 1, argv + argc})) {
            return 0;
        }
        std::cerr << usage;
        return usage_error;
    } catch (const std::exception& failure) {
        std::cerr << "postwarden-configure: " << failure.what() << '\n';
        return run_error;
    }
}
