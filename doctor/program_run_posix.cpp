#include "doctor/program_run_posix.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace doctor {

namespace {

constexpr std::size_t most_output = std::size_t{64} << 10U;

/// The two ends of a pipe.
class output_pipe
{
public:
    output_pipe()
    {
        if (::pipe2(ends_.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("the system allows no pipe");
        }
    }
    output_pipe(const output_pipe&) = delete;
    output_pipe& operator=(const output_pipe&) = delete;
    ~output_pipe()
    {
        close_writing();
        ::close(ends_[0]);
    }
    [[nodiscard]] int reading() const noexcept { return ends_[0]; }
    [[nodiscard]] int writing() const noexcept { return ends_[1]; }
    void close_writing()
    {
        if (ends_[1] >= 0) {
            ::close(ends_[1]);
            ends_[1] = -1;
        }
    }

private:
    std::array<int, 2> ends_{-1, -1};
};

/// The files that a program starts with: nothing to read, and its output to a pipe.
class start_files
{
public:
    explicit start_files(int output)
    {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO);
    }
    start_files(const start_files&) = delete;
    start_files& operator=(const start_files&) = delete;
    ~start_files() { posix_spawn_file_actions_destroy(&actions_); }
    [[nodiscard]] const posix_spawn_file_actions_t* get() const noexcept { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

pid_t start(const std::vector<std::string>& arguments, int output)
{
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str())); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    }
    pointers.push_back(nullptr);
    const start_files files(output);
    pid_t process = 0;
    if (const int error = posix_spawnp(&process, pointers[0], files.get(), nullptr, pointers.data(), environ)) {
        throw std::runtime_error(arguments[0] + " cannot be run: " + std::strerror(error));
    }
    return process;
}

/// Reads until the program has closed its output. Returns false at the end of the time.
bool read_output(int descriptor, std::chrono::steady_clock::time_point end, std::string& output)
{
    std::array<char, 4096> piece{};
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd waiting{descriptor, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&waiting, 1, static_cast<int>(left.count())) == 0) {
            return false;
        }
        const ssize_t count = ::read(descriptor, piece.data(), piece.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return true;
        }
        output.append(piece.data(), std::min(static_cast<std::size_t>(count), most_output - output.size()));
    }
}

} // namespace

program_end run_program(const std::vector<std::string>& arguments, std::chrono::milliseconds longest)
{
    output_pipe output;
    const pid_t process = start(arguments, output.writing());
    output.close_writing();
    program_end end;
    const bool ended = read_output(output.reading(), std::chrono::steady_clock::now() + longest, end.output);
    if (!ended) {
        ::kill(process, SIGKILL);
    }
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (!ended) {
        throw std::runtime_error(arguments[0] + " does not end");
    }
    if (!WIFEXITED(status)) {
        throw std::runtime_error(arguments[0] + " was ended by a signal");
    }
    end.status = WEXITSTATUS(status);
    return end;
}

} // namespace doctor
