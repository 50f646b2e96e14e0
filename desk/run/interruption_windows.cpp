#include "desk/run/interruption.h"

#include <windows.h>

#include <atomic>

namespace host {

namespace {

constexpr int interrupt_number = 2; ///< as SIGINT elsewhere

std::atomic<int> received{0};

/// Called by the system on a thread of its own. The second request is left to the system, which ends the process.
BOOL CALLBACK take_request(DWORD)
{
    return received.exchange(interrupt_number) == 0 ? TRUE : FALSE;
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
    SetConsoleCtrlHandler(take_request, FALSE);
    received = 0;
}

int interruption::signal() noexcept
{
    return received;
}

void interruption::set_progress(std::uint64_t, std::uint64_t, const char*) noexcept {}

} // namespace host
