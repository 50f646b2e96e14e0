#include "service/manager/service_database.h"

#include "events/source_registration.h"
#include "tool/system/conversions.h"
#include "tool/system/system_message.h"
#include "tool/system/unique_handle.h"

#include <array>
#include <cstddef>

namespace manager {

namespace {

constexpr DWORD poll_interval = 100;  // milliseconds
constexpr DWORD most_polls = 60 * 10; ///< one minute without progress

struct service_handle_traits
{
    using type = SC_HANDLE;
    static type invalid() noexcept { return nullptr; }
    static void close(type handle) noexcept { ::CloseServiceHandle(handle); }
};
using service_handle = winapi::unique_handle<service_handle_traits>;

std::string narrow(const std::wstring& text)
{
    return winapi::conv_to_char(text);
}

[[noreturn]] void refuse(const std::string& what, DWORD code)
{
    std::string why = winapi::system_message(code);
    why.resize(why.find_last_not_of("\r\n .") + 1);
    throw manager_error(what + ": " + (why.empty() ? "error " + std::to_string(code) : why));
}

std::string named(const std::wstring& name)
{
    return "the service " + narrow(name);
}

service_handle open_manager(DWORD access)
{
    service_handle manager(::OpenSCManagerW(nullptr, nullptr, access));
    if (!manager) {
        refuse("the service manager", ::GetLastError());
    }
    return manager;
}

service_handle open_service(const std::wstring& name, DWORD access)
{
    const service_handle manager = open_manager(SC_MANAGER_CONNECT);
    service_handle service(::OpenServiceW(manager.get(), name.c_str(), access));
    if (!service) {
        const DWORD code = ::GetLastError();
        if (code == ERROR_SERVICE_DOES_NOT_EXIST) {
            throw manager_error(named(name) + " does not exist");
        }
        refuse(named(name), code);
    }
    return service;
}

SERVICE_STATUS_PROCESS status_of(const service_handle& service)
{
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (::QueryServiceStatusEx(service.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                               &needed) == 0) {
        refuse("the status of the service", ::GetLastError());
    }
    return status;
}

/// Waits until the service has left a state, or makes no progress for a minute. Returns the last status.
SERVICE_STATUS_PROCESS await_end_of(const service_handle& service, DWORD state)
{
    SERVICE_STATUS_PROCESS status = status_of(service);
    DWORD checkpoint = status.dwCheckPoint;
    for (DWORD polls = 0; status.dwCurrentState == state && polls < most_polls; ++polls) {
        ::Sleep(poll_interval);
        status = status_of(service);
        if (status.dwCheckPoint != checkpoint) {
            checkpoint = status.dwCheckPoint;
            polls = 0;
        }
    }
    return status;
}

void end(const service_handle& service, const std::wstring& name)
{
    SERVICE_STATUS ignored{};
    if (::ControlService(service.get(), SERVICE_CONTROL_STOP, &ignored) == 0) {
        const DWORD code = ::GetLastError();
        if (code == ERROR_SERVICE_NOT_ACTIVE) {
            return;
        }
        if (code != ERROR_SERVICE_CANNOT_ACCEPT_CTRL) { // it may be ending already
            refuse(named(name), code);
        }
    }
    (void)await_end_of(service, SERVICE_RUNNING);
    if (await_end_of(service, SERVICE_STOP_PENDING).dwCurrentState != SERVICE_STOPPED) {
        throw manager_error(named(name) + " does not end");
    }
}

/// Texts one after the other, each with its end, and one more end.
std::wstring list_of(const std::vector<std::wstring>& texts)
{
    std::wstring list;
    for (const std::wstring& text : texts) {
        list.append(text).append(1, L'\0');
    }
    return list;
}

} // namespace

std::vector<std::string> store_details(SC_HANDLE service, const service_entry& entry, const change_function& change)
{
    std::vector<std::string> missing;
    const auto store = [&](DWORD level, void* information, const std::string& what) {
        if (change(service, level, information) != 0) {
            return;
        }
        const DWORD code = ::GetLastError();
        if (code != ERROR_INVALID_LEVEL) {
            refuse("the " + what + " of the service", code);
        }
        missing.push_back(what);
    };
    std::wstring text = entry.description;
    SERVICE_DESCRIPTIONW description{text.data()};
    store(SERVICE_CONFIG_DESCRIPTION, &description, "description");

    std::vector<SC_ACTION> actions;
    for (const std::uint32_t delay : entry.restart_delays) {
        actions.push_back({SC_ACTION_RESTART, delay});
    }
    SERVICE_FAILURE_ACTIONSW failures{entry.failures_forgotten, nullptr, nullptr, static_cast<DWORD>(actions.size()),
                                      actions.data()};
    store(SERVICE_CONFIG_FAILURE_ACTIONS, &failures, "restarts after a failure");
    SERVICE_FAILURE_ACTIONS_FLAG also_errors{TRUE};
    store(SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, &also_errors, "restarts after an end with an error");

    std::wstring list = list_of(entry.privileges);
    SERVICE_REQUIRED_PRIVILEGES_INFOW privileges{list.data()};
    store(SERVICE_CONFIG_REQUIRED_PRIVILEGES_INFO, &privileges, "required privileges");
    SERVICE_SID_INFO identity{SERVICE_SID_TYPE_UNRESTRICTED};
    store(SERVICE_CONFIG_SERVICE_SID_INFO, &identity, "own identity");
    return missing;
}

std::vector<std::string> install_service(const service_entry& entry, const std::wstring& program)
{
    const service_handle manager = open_manager(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE);
    const service_handle service(::CreateServiceW(manager.get(), entry.name.c_str(), entry.display_name.c_str(),
                                                  SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
                                                  SERVICE_ERROR_NORMAL, entry.command.c_str(), nullptr, nullptr,
                                                  nullptr, entry.account.c_str(), L""));
    if (!service) {
        const DWORD code = ::GetLastError();
        if (code == ERROR_SERVICE_EXISTS) {
            throw manager_error(named(entry.name) + " exists already");
        }
        refuse(named(entry.name), code);
    }
    try {
        std::vector<std::string> missing = store_details(service.get(), entry);
        if (const DWORD code = events::add_source(entry.name, program); code != 0) {
            refuse("the event source " + narrow(entry.name), code);
        }
        return missing;
    } catch (...) {
        ::DeleteService(service.get());
        throw;
    }
}

void remove_service(const std::wstring& name)
{
    const service_handle service = open_service(name, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE);
    end(service, name);
    if (::DeleteService(service.get()) == 0) {
        refuse(named(name), ::GetLastError());
    }
    if (const DWORD code = events::remove_source(name); code != 0) {
        refuse("the event source " + narrow(name), code);
    }
}

void start_service(const std::wstring& name)
{
    const service_handle service = open_service(name, SERVICE_START | SERVICE_QUERY_STATUS);
    if (::StartServiceW(service.get(), 0, nullptr) == 0) {
        const DWORD code = ::GetLastError();
        if (code == ERROR_SERVICE_ALREADY_RUNNING) {
            throw manager_error(named(name) + " runs already");
        }
        refuse(named(name), code);
    }
    const SERVICE_STATUS_PROCESS status = await_end_of(service, SERVICE_START_PENDING);
    if (status.dwCurrentState != SERVICE_RUNNING) {
        throw manager_error(named(name) + " could not start: the event log contains the reason");
    }
}

void stop_service(const std::wstring& name)
{
    end(open_service(name, SERVICE_STOP | SERVICE_QUERY_STATUS), name);
}

void reload_service(const std::wstring& name)
{
    const service_handle service = open_service(name, SERVICE_PAUSE_CONTINUE);
    SERVICE_STATUS ignored{};
    if (::ControlService(service.get(), SERVICE_CONTROL_PARAMCHANGE, &ignored) == 0) {
        const DWORD code = ::GetLastError();
        if (code == ERROR_SERVICE_NOT_ACTIVE) {
            throw manager_error(named(name) + " does not run");
        }
        refuse(named(name), code);
    }
}

} // namespace manager
