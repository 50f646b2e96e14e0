// Functions of the C library that this program calls, itself or in the standard library: each is counted and passed on.
// A definition of the program precedes that of a library.

#include "tests/budget/counts.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <numeric>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

using budget::count;
using budget::counted;

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

/// How many threads wait for each condition, by its address. Two that share a place are counted as one.
class waiting_threads
{
public:
    void begin(const void* condition) noexcept { ++place(condition); }
    void end(const void* condition) noexcept { --place(condition); }
    [[nodiscard]] bool any(const void* condition) noexcept { return place(condition) > 0; }

private:
    std::atomic<int>& place(const void* condition) noexcept
    {
        return places_[reinterpret_cast<std::uintptr_t>(condition) / 16 % places_.size()];
    }
    std::array<std::atomic<int>, 4099> places_{};
};

constinit waiting_threads waiting;

/// The event descriptors of this program: a write to one wakes a thread.
constinit std::array<std::atomic<bool>, 4096> is_event{};

bool wakes(int descriptor) noexcept
{
    return descriptor >= 0 && static_cast<std::size_t>(descriptor) < is_event.size() &&
           is_event[static_cast<std::size_t>(descriptor)];
}

void note_signal(const void* condition) noexcept
{
    if (waiting.any(condition)) {
        count(counted::hand_overs);
    }
}

ssize_t note_sent(ssize_t result, std::size_t given) noexcept
{
    if (result >= 0 && static_cast<std::size_t>(result) == given) {
        count(counted::sends);
    }
    return result; // errno is unchanged
}

std::size_t size_of(const iovec* pieces, std::size_t size) noexcept
{
    return std::accumulate(pieces, pieces + size, std::size_t{0},
                           [](std::size_t sum, const iovec& piece) { return sum + piece.iov_len; });
}

template <typename Wait>
int wait_for(pthread_cond_t* condition, const Wait& wait)
{
    waiting.begin(condition);
    const int result = wait();
    waiting.end(condition);
    return result;
}

} // namespace

namespace budget {

void begin_counting() {}

std::uintptr_t own_thread() noexcept
{
    return static_cast<std::uintptr_t>(::pthread_self());
}

} // namespace budget

extern "C" {

ssize_t send(int descriptor, const void* bytes, size_t size, int flags)
{
    static const auto real = next<decltype(::send)>("send");
    return note_sent(real(descriptor, bytes, size, flags), size);
}

ssize_t sendmsg(int descriptor, const msghdr* message, int flags)
{
    static const auto real = next<decltype(::sendmsg)>("sendmsg");
    return note_sent(real(descriptor, message, flags), size_of(message->msg_iov, message->msg_iovlen));
}

ssize_t writev(int descriptor, const iovec* pieces, int size)
{
    static const auto real = next<decltype(::writev)>("writev");
    return note_sent(real(descriptor, pieces, size), size_of(pieces, static_cast<std::size_t>(size)));
}

ssize_t recv(int descriptor, void* bytes, size_t size, int flags)
{
    static const auto real = next<decltype(::recv)>("recv");
    count(counted::receives);
    return real(descriptor, bytes, size, flags);
}

ssize_t recvmsg(int descriptor, msghdr* message, int flags)
{
    static const auto real = next<decltype(::recvmsg)>("recvmsg");
    count(counted::receives);
    return real(descriptor, message, flags);
}

int poll(pollfd* descriptors, nfds_t size, int milliseconds)
{
    static const auto real = next<decltype(::poll)>("poll");
    count(counted::polls);
    return real(descriptors, size, milliseconds);
}

int epoll_wait(int set, epoll_event* events, int size, int milliseconds)
{
    static const auto real = next<decltype(::epoll_wait)>("epoll_wait");
    const int result = real(set, events, size, milliseconds);
    count(counted::completions);
    return result;
}

int epoll_ctl(int set, int operation, int descriptor, epoll_event* event) noexcept
{
    static const auto real = next<decltype(::epoll_ctl)>("epoll_ctl");
    count(counted::socket_settings);
    return real(set, operation, descriptor, event);
}

int fcntl(int descriptor, int command, ...)
{
    static const auto real = next<int(int, int, void*)>("fcntl");
    va_list rest;
    va_start(rest, command);
    void* const argument = va_arg(rest, void*); // as wide as each of the types that a command takes
    va_end(rest);
    count(counted::socket_settings);
    return real(descriptor, command, argument);
}

int eventfd(unsigned value, int flags) noexcept
{
    static const auto real = next<decltype(::eventfd)>("eventfd");
    const int made = real(value, flags);
    if (made >= 0 && static_cast<std::size_t>(made) < is_event.size()) {
        is_event[static_cast<std::size_t>(made)] = true;
    }
    return made;
}

int close(int descriptor)
{
    static const auto real = next<decltype(::close)>("close");
    if (wakes(descriptor)) {
        is_event[static_cast<std::size_t>(descriptor)] = false;
    }
    return real(descriptor);
}

ssize_t write(int descriptor, const void* bytes, size_t size)
{
    static const auto real = next<decltype(::write)>("write");
    count(wakes(descriptor) ? counted::hand_overs : counted::file_calls);
    return real(descriptor, bytes, size);
}

ssize_t read(int descriptor, void* bytes, size_t size)
{
    static const auto real = next<decltype(::read)>("read");
    count(counted::file_calls);
    return real(descriptor, bytes, size);
}

ssize_t pread(int descriptor, void* bytes, size_t size, off_t offset)
{
    static const auto real = next<decltype(::pread)>("pread");
    count(counted::file_calls);
    return real(descriptor, bytes, size, offset);
}

ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset)
{
    static const auto real = next<decltype(::pwrite)>("pwrite");
    count(counted::file_calls);
    return real(descriptor, bytes, size, offset);
}

int fstat(int descriptor, struct stat* state) noexcept
{
    static const auto real = next<int(int, struct stat*)>("fstat");
    count(counted::file_calls);
    return real(descriptor, state);
}

void* mmap(void* address, size_t size, int protection, int flags, int descriptor, off_t offset) noexcept
{
    static const auto real = next<decltype(::mmap)>("mmap");
    count(counted::mappings);
    return real(address, size, protection, flags, descriptor, offset);
}

int munmap(void* address, size_t size) noexcept
{
    static const auto real = next<decltype(::munmap)>("munmap");
    count(counted::mappings);
    return real(address, size);
}

long syscall(long number, ...) noexcept
{
    static const auto real = next<long(long, long, long, long, long, long, long)>("syscall");
    std::array<long, 6> given{};
    va_list rest;
    va_start(rest, number);
    for (long& argument : given) {
        argument =
            va_arg(rest, long); // as wide as each argument of a system call; those that were not given are unused
    }
    va_end(rest);
    const long result = real(number, given[0], given[1], given[2], given[3], given[4], given[5]);
    const long operation = given[1] & FUTEX_CMD_MASK;
    if (number == SYS_futex && result > 0 && (operation == FUTEX_WAKE || operation == FUTEX_WAKE_BITSET)) {
        count(counted::hand_overs);
    }
    return result;
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept
{
    static const auto real = next<decltype(::pthread_cond_signal)>("pthread_cond_signal");
    note_signal(condition);
    return real(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept
{
    static const auto real = next<decltype(::pthread_cond_broadcast)>("pthread_cond_broadcast");
    note_signal(condition);
    return real(condition);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex)
{
    static const auto real = next<decltype(::pthread_cond_wait)>("pthread_cond_wait");
    return wait_for(condition, [&] { return real(condition, mutex); });
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until)
{
    static const auto real = next<decltype(::pthread_cond_timedwait)>("pthread_cond_timedwait");
    return wait_for(condition, [&] { return real(condition, mutex, until); });
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock, const timespec* until)
{
    static const auto real = next<decltype(::pthread_cond_clockwait)>("pthread_cond_clockwait");
    return wait_for(condition, [&] { return real(condition, mutex, clock, until); });
}

} // extern "C"
