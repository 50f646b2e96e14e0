#include "doctor/manager_windows.h"

#include "tool/system/conversions.h"
#include "tool/system/system_message.h"

#include <platform/handles.h>

#include <cstddef>
#include <stdexcept>
#include <vector>

namespace doctor {

namespace {

struct service_handle_traits
{
    using type = SC_HANDLE;
    static type invalid() noexcept { return nullptr; }
    static void close(type handle) noexcept
    {
        const winapi::last_error_keeper keeper;
        ::CloseServiceHandle(handle);
    }
};
using service_handle = winapi::unique_handle<service_handle_traits>;

[[noreturn]] void raise(const char* what)
{
    const DWORD code = GetLastError();
    std::string reason =
        winapi::conv_to_char(winapi::conv_to_wide(winapi::system_message(code)), winapi::code_page_utf8);
    reason.erase(reason.find_last_not_of("\r\n") + 1);
    throw std::runtime_error(std::string(what) + ": " + reason);
}

managed_service::activity activity_of(DWORD state)
{
    switch (state) {
    case SERVICE_RUNNING:
        return managed_service::activity::running;
    case SERVICE_STOPPED:
        return managed_service::activity::stopped;
    case SERVICE_PAUSED:
        return managed_service::activity::paused;
    default:
        return managed_service::activity::changing;
    }
}

} // namespace

std::optional<managed_service> system_service_manager::find(const std::string& name)
{
    constexpr DWORD largest = 8192; // of a configuration, by its documentation
    const service_handle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) {
        raise("the service manager does not answer");
    }
    const service_handle service(OpenServiceW(manager.get(), winapi::conv_to_wide(name, winapi::code_page_utf8).c_str(),
                                              SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG));
    if (!service) {
        if (GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST) {
            return {};
        }
        raise("the service manager does not show the service");
    }
    SERVICE_STATUS status{};
    alignas(QUERY_SERVICE_CONFIGW) std::byte buffer[largest];
    DWORD needed = 0;
    auto& configuration = *reinterpret_cast<QUERY_SERVICE_CONFIGW*>(static_cast<std::byte*>(buffer));
    if (QueryServiceStatus(service.get(), &status) == 0 ||
        QueryServiceConfigW(service.get(), &configuration, largest, &needed) == 0) {
        raise("the service manager does not show the service");
    }
    const wchar_t* const account = configuration.lpServiceStartName;
    return managed_service{activity_of(status.dwCurrentState), configuration.dwStartType <= SERVICE_AUTO_START,
                           account == nullptr ? std::string() : winapi::conv_to_char(account, winapi::code_page_utf8)};
}

} // namespace doctor
