#include "tests/tool/web/stopped_clock_posix.h"

#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

thread_local bool stopped = false;
thread_local timespec stopped_at{};

} // namespace

/// Replaces the function of the C library in the program that links this.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept
{
    if (stopped && clock == CLOCK_MONOTONIC) {
        *now = stopped_at;
        return 0;
    }
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, now));
}

namespace test {

stopped_clock::stopped_clock() noexcept
{
    clock_gettime(CLOCK_MONOTONIC, &stopped_at);
    stopped = true;
}

stopped_clock::~stopped_clock()
{
    stopped = false;
}

} // namespace test
