// Loaded ahead of the libraries of a program, makes the system fail as the environment specifies:
//   SYSTEM_FAULTS_THREADS=N  only N threads can be created
//   SYSTEM_FAULTS_CLOCK=FILE the wall clock differs by the number of seconds that FILE contains at that moment

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <pthread.h>
#include <sys/time.h>

namespace {

template <typename Function>
Function next(const char* name)
{
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

long long clock_shift()
{
    static const char* const name = std::getenv("SYSTEM_FAULTS_CLOCK");
    long long seconds = 0;
    if (name != nullptr) {
        if (std::FILE* const file = std::fopen(name, "re")) {
            if (std::fscanf(file, "%lld", &seconds) != 1) {
                seconds = 0;
            }
            std::fclose(file);
        }
    }
    return seconds;
}

bool thread_allowed()
{
    static const char* const most = std::getenv("SYSTEM_FAULTS_THREADS");
    static std::atomic<long> created{0};
    return most == nullptr || ++created <= std::atol(most);
}

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument)
{
    static const auto real = next<decltype(&::pthread_create)>("pthread_create");
    return thread_allowed() ? real(thread, attributes, run, argument) : EAGAIN;
}

extern "C" int clock_gettime(clockid_t kind, timespec* now)
{
    static const auto real = next<decltype(&::clock_gettime)>("clock_gettime");
    const int result = real(kind, now);
    if (result == 0 && kind == CLOCK_REALTIME) {
        now->tv_sec += clock_shift();
    }
    return result;
}

extern "C" int gettimeofday(timeval* now, void* zone)
{
    static const auto real = next<int (*)(timeval*, void*)>("gettimeofday");
    const int result = real(now, zone);
    now->tv_sec += clock_shift();
    return result;
}

extern "C" time_t time(time_t* now)
{
    timespec exact{};
    ::clock_gettime(CLOCK_REALTIME, &exact);
    if (now != nullptr) {
        *now = exact.tv_sec;
    }
    return exact.tv_sec;
}
