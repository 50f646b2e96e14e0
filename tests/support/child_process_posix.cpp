#include "tests/support/child_process.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ; // NOLINT: POSIX leaves its declaration to the program

namespace test {

namespace {

constexpr std::chrono::seconds child_patience{60};
constexpr int child_poll_milliseconds = 20;

/// A pipe that programs started elsewhere do not inherit.
struct pipe_ends
{
    std::array<int, 2> ends{-1, -1};

    pipe_ends()
    {
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("cannot make a pipe");
        }
    }
    pipe_ends(const pipe_ends&) = delete;
    pipe_ends& operator=(const pipe_ends&) = delete;
    ~pipe_ends()
    {
        for (const int end : ends) {
            if (end != -1) {
                ::close(end);
            }
        }
    }
    [[nodiscard]] int take_reading_end() { return std::exchange(ends[0], -1); }
};

class spawn_actions
{
public:
    spawn_actions() { ::posix_spawn_file_actions_init(&actions_); }
    spawn_actions(const spawn_actions&) = delete;
    spawn_actions& operator=(const spawn_actions&) = delete;
    ~spawn_actions() { ::posix_spawn_file_actions_destroy(&actions_); }
    [[nodiscard]] posix_spawn_file_actions_t* get() noexcept { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

child_process::exit_status status_of(int raw)
{
    return WIFSIGNALED(raw) ? child_process::exit_status{0, WTERMSIG(raw)}
                            : child_process::exit_status{WEXITSTATUS(raw), 0};
}

} // namespace

child_process::child_process(const std::string& program, const std::vector<std::string>& arguments)
{
    pipe_ends output;
    pipe_ends errors;
    spawn_actions actions;
    ::posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(actions.get(), output.ends[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(actions.get(), errors.ends[1], STDERR_FILENO);

    std::vector<std::string> words{program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (auto& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    const int error = ::posix_spawnp(&id_, program.c_str(), actions.get(), nullptr, pointers.data(), environ);
    if (error != 0) {
        throw std::runtime_error("cannot start " + program + ": " + std::strerror(error));
    }
    output_.descriptor = output.take_reading_end();
    errors_.descriptor = errors.take_reading_end();
    output_.reader = std::thread([this] { collect(output_); });
    errors_.reader = std::thread([this] { collect(errors_); });
}

child_process::~child_process()
{
    if (!has_ended()) {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }
    {
        // A process that the program started may still hold its outputs open.
        const std::lock_guard guard(lock_);
        stop_ = true;
    }
    join_readers();
    ::close(output_.descriptor);
    ::close(errors_.descriptor);
}

void child_process::collect(stream& source)
{
    std::array<char, 4096> bytes;
    for (;;) {
        pollfd wanted{source.descriptor, POLLIN, 0};
        const bool ready = ::poll(&wanted, 1, child_poll_milliseconds) > 0;
        const auto count = ready ? ::read(source.descriptor, bytes.data(), bytes.size()) : 0;
        const std::lock_guard guard(lock_);
        if (count > 0) {
            source.text.append(bytes.data(), static_cast<std::size_t>(count));
        }
        source.ended = ready ? count <= 0 : stop_;
        changed_.notify_all();
        if (source.ended) {
            return;
        }
    }
}

void child_process::join_readers()
{
    for (stream* const source : {&output_, &errors_}) {
        if (source->reader.joinable()) {
            source->reader.join();
        }
    }
}

std::optional<std::string> child_process::read_line()
{
    std::unique_lock guard(lock_);
    std::size_t end = std::string::npos;
    changed_.wait_for(guard, child_patience, [&] {
        end = output_.text.find('\n', lines_taken_);
        return end != std::string::npos || output_.ended;
    });
    if (end == std::string::npos) {
        return std::nullopt;
    }
    const std::string line = output_.text.substr(lines_taken_, end - lines_taken_);
    lines_taken_ = end + 1;
    return line;
}

bool child_process::kill(int signal)
{
    return !has_ended() && ::kill(id_, signal) == 0;
}

bool child_process::has_ended()
{
    int raw = 0;
    if (!status_ && ::waitpid(id_, &raw, WNOHANG) == id_) {
        status_ = status_of(raw);
    }
    return status_.has_value();
}

std::optional<child_process::exit_status> child_process::wait()
{
    const auto deadline = std::chrono::steady_clock::now() + child_patience;
    while (!has_ended() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(child_poll_milliseconds));
    }
    if (status_) {
        std::unique_lock guard(lock_);
        changed_.wait_for(guard, child_patience, [&] { return output_.ended && errors_.ended; });
    }
    return status_;
}

std::string child_process::output() const
{
    const std::lock_guard guard(lock_);
    return output_.text;
}

std::string child_process::errors() const
{
    const std::lock_guard guard(lock_);
    return errors_.text;
}

} // namespace test
