// postwarden-configure: run by the installer, with the rights of the system, to write and remove the configuration of
// what it installs.

#include "broker/machine_configuration.h"
#include "events/source.h"
#include "packaging/configure/configuration_files.h"
#include "packaging/configure/configured_files.h"
#include "packaging/configure/installed_service.h"
#include "service/manager/service_entry.h"
#include "service/manager/service_events.h"
#include "tool/system/conversions.h"

#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int usage_error = 2;
constexpr int run_error = 1;

constexpr const char* usage = R"(postwarden-configure service FOLDER PORT ENGINES PROGRAM
postwarden-configure broker FOLDER PORT
    writes FOLDER\service.conf or FOLDER\settings.json unless it is there. ENGINES are separated by ";".
    An empty PORT is that of the other file, or 1345; another one than that of the other file is refused.
    PROGRAM is the service, which must accept what was written within a minute.
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
    const packaging::configured_files files(words[1]);
    if (command == L"service" && words.size() == 5) {
        packaging::configure_service(files, broker::configured_rules(), narrow(words[2]), narrow(words[3]), words[4]);
    } else if (command == L"broker" && words.size() == 3) {
        packaging::configure_broker(files, broker::configured_rules(), narrow(words[2]));
    } else if (command == L"complete-service" && words.size() == 3) {
        packaging::complete_service(words[1], words[2]);
    } else if (command == L"await-end" && words.size() == 2) {
        packaging::await_end_of(words[1]);
    } else if (command == L"remove-service" && words.size() == 2) {
        packaging::remove_unless_changed(files.options());
        packaging::remove_logs(files.logs());
    } else if (command == L"remove-broker" && words.size() == 2) {
        packaging::remove_unless_changed(files.settings());
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
        // The installer shows nobody this output.
        manager::service_events(std::make_shared<events::source>(manager::usual_name)).failed({failure.what()});
        return run_error;
    }
}
