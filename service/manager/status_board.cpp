#include "service/manager/status_board.h"

#include <chrono>
#include <utility>

namespace manager {

namespace {

constexpr std::chrono::seconds between_reports{1};
constexpr DWORD wait_hint = 10000; ///< milliseconds; many times the time between two reports, for a busy machine

DWORD controls_in(DWORD state) noexcept
{
    return state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_PARAMCHANGE : 0;
}

} // namespace

status_board::status_board(reporter report)
    : report_(std::move(report))
    , thread_([this] { run(); })
{}

status_board::~status_board()
{
    {
        const std::lock_guard guard(lock_);
        ended_ = true;
        changed_.notify_all();
    }
    thread_.join();
}

void status_board::starting()
{
    change(SERVICE_START_PENDING);
}

void status_board::running()
{
    change(SERVICE_RUNNING);
}

void status_board::stopping()
{
    change(SERVICE_STOP_PENDING);
}

void status_board::stopped(DWORD exit_status)
{
    change(SERVICE_STOPPED, exit_status);
}

void status_board::change(DWORD state, DWORD exit_status)
{
    const std::lock_guard guard(lock_);
    if (status_.dwCurrentState == SERVICE_STOPPED || status_.dwCurrentState == state) {
        return;
    }
    status_ = {};
    status_.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status_.dwCurrentState = state;
    status_.dwControlsAccepted = controls_in(state);
    status_.dwWin32ExitCode = exit_status == 0 ? NO_ERROR : ERROR_SERVICE_SPECIFIC_ERROR;
    status_.dwServiceSpecificExitCode = exit_status;
    if (is_pending()) {
        status_.dwCheckPoint = 1;
        status_.dwWaitHint = wait_hint;
    }
    report_(status_);
    changed_.notify_all();
}

void status_board::run()
{
    std::unique_lock guard(lock_);
    while (!ended_) {
        if (!is_pending()) {
            changed_.wait(guard);
        } else if (changed_.wait_for(guard, between_reports) == std::cv_status::timeout && is_pending() && !ended_) {
            ++status_.dwCheckPoint;
            report_(status_);
        }
    }
}

} // namespace manager
