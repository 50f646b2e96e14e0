#include "packaging/configure/installed_service.h"

#include "service/manager/service_database.h"
#include "service/manager/service_entry.h"

#include <platform/handles.h>

#include <stdexcept>
#include <system_error>

namespace packaging {

namespace {

struct service_handle_traits
{
    using type = SC_HANDLE;
    static type invalid() noexcept { return nullptr; }
    static void close(type handle) noexcept { ::CloseServiceHandle(handle); }
};
using service_handle = winapi::unique_handle<service_handle_traits>;

void check(bool succeeded, const char* what)
{
    if (!succeeded) {
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), what);
    }
}

} // namespace

void complete_service(const std::wstring& program, const std::wstring& file)
{
    manager::service_entry entry;
    entry.command = manager::command_line_of(program, {L"--config", file});
    const service_handle services(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    check(static_cast<bool>(services), "the service manager");
    const service_handle service(::OpenServiceW(services.get(), entry.name.c_str(), SERVICE_ALL_ACCESS));
    check(static_cast<bool>(service), "the service");
    check(::ChangeServiceConfigW(service.get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                 entry.command.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) != 0,
          "the command line of the service");
    (void)manager::store_details(service.get(), entry); // what this system does not store
}

bool accepts_configuration(const std::wstring& program, const std::wstring& file, std::chrono::milliseconds longest)
{
    std::wstring line = L'"' + program + L"\" --check-config --config \"" + file + L'"';
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION started{};
    check(::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr,
                           &start, &started) != 0,
          "the program of the service");
    const winapi::kernel_handle process(started.hProcess);
    const winapi::kernel_handle thread(started.hThread);
    const DWORD waited = ::WaitForSingleObject(process.get(), static_cast<DWORD>(longest.count()));
    if (waited == WAIT_TIMEOUT) {
        ::TerminateProcess(process.get(), 1);
        throw std::runtime_error("the service has not verified its configuration after " +
                                 std::to_string(std::chrono::duration_cast<std::chrono::seconds>(longest).count()) +
                                 " s, and was ended");
    }
    DWORD status = 1;
    check(waited == WAIT_OBJECT_0 && ::GetExitCodeProcess(process.get(), &status) != 0, "the program of the service");
    return status == 0;
}

void await_end_of(const std::wstring& program)
{
    constexpr DWORD interval = 100; // milliseconds
    for (int attempt = 0; attempt < 300; ++attempt) {
        // The file of a program cannot be opened for writing while a process runs it.
        const winapi::file_handle opened(::CreateFileW(program.c_str(), GENERIC_WRITE,
                                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        const DWORD code = opened ? ERROR_SUCCESS : ::GetLastError();
        if (code != ERROR_SHARING_VIOLATION && code != ERROR_ACCESS_DENIED) {
            return;
        }
        ::Sleep(interval);
    }
}

} // namespace packaging
