#include "tests/support/process_resources.h"

#include <windows.h>

#include <tlhelp32.h>

namespace test {

namespace {

std::size_t count_threads()
{
    const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) {
        return 0;
    }
    std::size_t count = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = ::Thread32First(snapshot, &entry); more != FALSE; more = ::Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == ::GetCurrentProcessId() ? 1U : 0U;
    }
    ::CloseHandle(snapshot);
    return count;
}

} // namespace

process_resources process_resources::now()
{
    DWORD handles = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &handles);
    return {count_threads(), handles};
}

} // namespace test
