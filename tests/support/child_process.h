#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace test {

/// A program that runs beside the test, with an empty standard input. Both its outputs are read continuously, so that
/// it never blocks on them. Every wait is bounded. POSIX only. Not thread-safe.
class child_process
{
public:
    /// The end of a program: `code` if it ended by itself, or `signal` if that ended it. The other one is 0.
    struct exit_status
    {
        int code = 0;
        int signal = 0;
        friend bool operator==(const exit_status&, const exit_status&) = default;
    };

    /// Starts the program; `program` is a path or a name in PATH. Throws std::runtime_error if it cannot be started.
    explicit child_process(const std::string& program, const std::vector<std::string>& arguments = {});
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;
    /// Kills the program if it still runs.
    ~child_process();

    [[nodiscard]] int id() const noexcept { return id_; }
    /// Returns the next line of standard output, without its line end; nothing if no further line arrives.
    [[nodiscard]] std::optional<std::string> read_line();
    /// Sends a signal. Returns false if the program has ended.
    bool kill(int signal);
    /// Waits for the end; returns nothing if the program does not end. Afterwards both outputs are complete.
    [[nodiscard]] std::optional<exit_status> wait();
    /// Returns true if the program has ended; does not wait.
    [[nodiscard]] bool has_ended();

    /// Returns the standard output received so far, including the lines read.
    [[nodiscard]] std::string output() const;
    /// Returns the standard error received so far.
    [[nodiscard]] std::string errors() const;

private:
    /// The contents of one of the program's outputs, read by a separate thread.
    struct stream
    {
        int descriptor = -1;
        std::string text;
        bool ended = false;
        std::thread reader;
    };

    void collect(stream& source);
    void join_readers();

    int id_ = -1;
    std::optional<exit_status> status_;
    mutable std::mutex lock_;
    std::condition_variable changed_;
    bool stop_ = false;
    std::size_t lines_taken_ = 0; ///< bytes of standard output that read_line() has returned
    stream output_;
    stream errors_;
};

} // namespace test
