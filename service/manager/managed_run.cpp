#include "service/manager/managed_run.h"

#include "events/source.h"

#include <array>
#include <future>

namespace manager {

namespace {

/// What the functions that the manager calls share. The manager may call them until its dispatcher has returned, and
/// gives some of them no parameter.
struct manager_call
{
    const service_body* body = nullptr;
    SERVICE_STATUS_HANDLE handle = nullptr;
    control_queue controls;
    std::unique_ptr<status_board> status;
    std::promise<void> ended;
};

manager_call& the_call()
{
    static manager_call call;
    return call;
}

DWORD WINAPI handle_control(DWORD control, DWORD /*event_type*/, void* /*event_data*/, void* /*context*/)
{
    switch (control) {
    case SERVICE_CONTROL_STOP:
    case SERVICE_CONTROL_SHUTDOWN:
        the_call().status->stopping();
        the_call().controls.put(control_queue::wish::stop);
        return NO_ERROR;
    case SERVICE_CONTROL_PARAMCHANGE:
        the_call().controls.put(control_queue::wish::reload);
        return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE:
        return NO_ERROR;
    default:
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
}

void run_body(const std::wstring& name)
{
    manager_call& call = the_call();
    call.status = std::make_unique<status_board>([&call](const SERVICE_STATUS& now) {
        SERVICE_STATUS copy = now;
        ::SetServiceStatus(call.handle, &copy);
    });
    call.handle = ::RegisterServiceCtrlHandlerExW(name.c_str(), handle_control, nullptr);
    if (call.handle == nullptr) {
        return;
    }
    call.status->starting();
    const auto events = std::make_shared<service_events>(std::make_shared<events::source>(name));
    const int result = (*call.body)({*call.status, call.controls, events});
    call.status->stopped(static_cast<DWORD>(result));
}

void WINAPI service_main(DWORD count, wchar_t** arguments)
{
    run_body(count == 0 ? L"" : arguments[0]);
    the_call().ended.set_value();
}

} // namespace

bool may_be_service()
{
    std::array<wchar_t, 256> name{};
    DWORD needed = 0;
    const HWINSTA station = ::GetProcessWindowStation();
    return station == nullptr ||
           ::GetUserObjectInformationW(station, UOI_NAME, name.data(), sizeof name, &needed) == 0 ||
           ::lstrcmpiW(name.data(), L"WinSta0") != 0;
}

bool run_for_manager(const service_body& body)
{
    the_call().body = &body;
    std::wstring any; // the only service of a process is found whatever its name is
    const std::array<SERVICE_TABLE_ENTRYW, 2> table{{{any.data(), service_main}, {nullptr, nullptr}}};
    if (::StartServiceCtrlDispatcherW(table.data()) == 0) {
        return false;
    }
    the_call().ended.get_future().wait();
    the_call().status.reset();
    return true;
}

} // namespace manager
