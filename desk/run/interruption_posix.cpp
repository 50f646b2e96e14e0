#include "desk/run/ignored_signal_posix.h"
#include "desk/run/interruption.h"
#include "desk/run/stop_report.h"
#include "mail/files/unfinished_path.h"

#include <platform/handles.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace host {

namespace {

constexpr int grace_ms = 2000; ///< for the message at hand

std::atomic<int> received{0};
std::atomic<std::uint64_t> done_objects{0};
std::atomic<std::uint64_t> all_objects{0}; ///< 0: unknown
std::atomic<const char*> name_of_objects{"messages"};

/// Returns the signals that are requests. One that was ignored before remains so: that of the terminal does not concern
/// a job in the background.
sigset_t taken_signals() noexcept
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM}) {
        if (!is_ignored(signal)) {
            sigaddset(&set, signal);
        }
    }
    return set;
}

winapi::file_handle opened(int handle)
{
    if (handle < 0) {
        throw std::system_error(errno, std::generic_category(), "signals cannot be taken");
    }
    return winapi::file_handle(handle);
}

[[noreturn]] void give_up(int signal, const console& where) noexcept
{
    [[maybe_unused]] const auto held = delete_unfinished_paths();
    const std::uint64_t all = all_objects;
    const auto total = all == 0 ? std::nullopt : std::optional(all);
    std::string line(where.shows_progress ? line_eraser : "");
    line.append(where.program).append(": ").append(stop_text(done_objects, total, name_of_objects.load()));
    line += "; the next one was given up\n";
    static_cast<void>(!::write(STDERR_FILENO, line.data(), line.size()));
    std::_Exit(128 + signal);
}

/// Deletes what is unfinished, and ends the process by the signal, as it would end without this class. A further signal
/// ends it while it deletes.
[[noreturn]] void die_of(int signal, const sigset_t& taken) noexcept
{
    (void)std::signal(signal, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &taken, nullptr);
    [[maybe_unused]] const auto held = delete_unfinished_paths();
    (void)std::raise(signal);
    std::_Exit(128 + signal);
}

/// Blocks signals in the calling thread, and in the threads that it makes while the object exists.
class blocked_signals
{
public:
    explicit blocked_signals(const sigset_t& set) noexcept { pthread_sigmask(SIG_BLOCK, &set, &former_); }
    blocked_signals(const blocked_signals&) = delete;
    blocked_signals& operator=(const blocked_signals&) = delete;
    ~blocked_signals() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }

private:
    sigset_t former_{};
};

} // namespace

/// A thread that waits for the signals, which are blocked in all others: no call of theirs is interrupted.
class interruption::watch
{
public:
    watch(const console& where, first_request effect)
        : where_(where)
        , effect_(effect)
        , thread_([this] { run(); })
    {}
    watch(const watch&) = delete;
    watch& operator=(const watch&) = delete;
    ~watch()
    {
        const std::uint64_t one = 1;
        static_cast<void>(!::write(end_.get(), &one, sizeof one));
        thread_.join();
    }

private:
    void run() const
    {
        const int first = wait(-1);
        if (first <= 0) {
            return;
        }
        if (effect_ == first_request::ends_process) {
            die_of(first, taken_);
        }
        received = first;
        const int second = wait(grace_ms);
        if (second > 0) {
            die_of(second, taken_);
        }
        if (second == 0) {
            give_up(first, where_);
        }
    }

    /// Returns a signal; 0 if the time has passed, -1 at the end.
    [[nodiscard]] int wait(int milliseconds) const
    {
        std::array<pollfd, 2> handles{pollfd{signals_.get(), POLLIN, 0}, pollfd{end_.get(), POLLIN, 0}};
        int ready = 0;
        do {
            ready = ::poll(handles.data(), handles.size(), milliseconds);
        } while (ready < 0 && errno == EINTR);
        if (ready == 0) {
            return 0;
        }
        signalfd_siginfo info{};
        if (handles[1].revents != 0 || handles[0].revents == 0 ||
            ::read(signals_.get(), &info, sizeof info) != static_cast<ssize_t>(sizeof info)) {
            return -1;
        }
        return static_cast<int>(info.ssi_signo);
    }

    const console& where_;
    first_request effect_;
    sigset_t taken_ = taken_signals();
    blocked_signals blocked_{taken_};
    winapi::file_handle signals_ = opened(::signalfd(-1, &taken_, SFD_CLOEXEC));
    winapi::file_handle end_ = opened(::eventfd(0, EFD_CLOEXEC));
    std::thread thread_; ///< uses the members above
};

interruption::interruption(const console& where, first_request effect)
{
    received = 0;
    set_progress(0, 0, "messages");
    watch_ = std::make_unique<watch>(where, effect);
}

interruption::~interruption()
{
    watch_.reset();
    received = 0;
}

int interruption::signal() noexcept
{
    return received;
}

void interruption::set_progress(std::uint64_t done, std::uint64_t total, const char* objects) noexcept
{
    done_objects = done;
    all_objects = total;
    name_of_objects = objects;
}

} // namespace host
