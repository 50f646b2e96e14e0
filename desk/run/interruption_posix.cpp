#include "desk/run/interruption.h"
#include "desk/run/stop_report.h"
#include "mail/files/unfinished_path.h"

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

sigset_t taken_signals() noexcept
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

int opened(int handle)
{
    if (handle < 0) {
        throw std::system_error(errno, std::generic_category(), "signals cannot be taken");
    }
    return handle;
}

[[noreturn]] void give_up(int signal) noexcept
{
    const auto held = delete_unfinished_paths();
    const std::uint64_t all = all_objects;
    const auto total = all == 0 ? std::nullopt : std::optional(all);
    const std::string line =
        "postwarden: " + stop_text(done_objects, total, name_of_objects.load()) + "; the next one was given up\n";
    static_cast<void>(!::write(STDERR_FILENO, line.data(), line.size()));
    std::_Exit(128 + signal);
}

/// Ends the process by the signal, as it would without this class.
[[noreturn]] void die_of(int signal) noexcept
{
    std::signal(signal, SIG_DFL);
    const sigset_t set = taken_signals();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    std::raise(signal);
    std::_Exit(128 + signal);
}

} // namespace

/// A thread that waits for the signals, which are blocked in all others: no call of theirs is interrupted.
class interruption::watch
{
public:
    watch()
    {
        const sigset_t set = taken_signals();
        pthread_sigmask(SIG_BLOCK, &set, &former_);
        signals_ = opened(::signalfd(-1, &set, SFD_CLOEXEC));
        end_ = opened(::eventfd(0, EFD_CLOEXEC));
        thread_ = std::thread([this] { run(); });
    }
    watch(const watch&) = delete;
    watch& operator=(const watch&) = delete;
    ~watch()
    {
        const std::uint64_t one = 1;
        static_cast<void>(!::write(end_, &one, sizeof one));
        thread_.join();
        ::close(signals_);
        ::close(end_);
        pthread_sigmask(SIG_SETMASK, &former_, nullptr);
    }

private:
    void run() const
    {
        const int first = wait(-1);
        if (first <= 0) {
            return;
        }
        received = first;
        const int second = wait(grace_ms);
        if (second > 0) {
            die_of(second);
        }
        if (second == 0) {
            give_up(first);
        }
    }

    /// Returns a signal; 0 if the time has passed, -1 at the end.
    [[nodiscard]] int wait(int milliseconds) const
    {
        std::array<pollfd, 2> handles{pollfd{signals_, POLLIN, 0}, pollfd{end_, POLLIN, 0}};
        const int ready = ::poll(handles.data(), handles.size(), milliseconds);
        if (ready == 0) {
            return 0;
        }
        signalfd_siginfo info{};
        if (handles[1].revents != 0 || handles[0].revents == 0 ||
            ::read(signals_, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) {
            return -1;
        }
        return static_cast<int>(info.ssi_signo);
    }

    sigset_t former_{};
    int signals_ = -1;
    int end_ = -1;
    std::thread thread_;
};

interruption::interruption()
{
    received = 0;
    set_progress(0, 0, "messages");
    watch_ = std::make_unique<watch>();
}

interruption::~interruption() = default;

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
