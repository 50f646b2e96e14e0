#include "desk/run/interruption.h"

#include <windows.h>

#include <atomic>

namespace host {

namespace {

constexpr int interrupt_number = 2; ///< as SIGINT elsewhere

std::atomic<int> received{0};
std::atomic<bool> closing{false}; ///< a thread of the system waits in take_request() for the end of the process

/// Called by the system on a thread of its own. The second request is left to the system, which ends the process.
BOOL CALLBACK take_request(DWORD event)
{
    const bool is_first = received.exchange(interrupt_number) == 0;
    if (event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT) {
        // The system ends the process when this function returns, at the latest after some seconds: the command has as
        // long to finish the object at hand, and ends this thread with the process.
        closing = true;
        Sleep(INFINITE);
    }
    return is_first ? TRUE : FALSE;
}

} // namespace

class interruption::watch
{};

interruption::interruption(const console&, first_request)
{
    received = 0;
    SetConsoleCtrlHandler(take_request, TRUE);
}

interruption::~interruption()
{
    if (!closing) { // else the call could wait for the thread that waits for the end of the process
        SetConsoleCtrlHandler(take_request, FALSE);
        received = 0;
    }
}

int interruption::signal() noexcept
{
    return received;
}

void interruption::set_progress(std::uint64_t, std::uint64_t, const char*) noexcept {}

} // namespace host
