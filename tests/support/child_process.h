#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace test {

/// A program that runs beside the test, with nothing on its standard input and both its outputs read all the time, so
/// that it never blocks on them. Every wait is bounded. POSIX only. Operations are for one thread.
class child_process
{
public:
    /// How a program ended: `code` by itself, or `signal` when that ended it. The other one is 0.
    struct exit_status
    {
        int code = 0;
        int signal = 0;
        friend bool operator==(const exit_status&, const exit_status&) = default;
    };

    /// Starts the program; `program` is a path or a name in PATH. Raises std::runtime_error when it can't be started.
    explicit child_process(const std::string& program, const std::vector<std::string>& arguments = {});
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;
    /// Ends the program, the hard way if it still runs.
    ~child_process();

    [[nodiscard]] int id() const noexcept { return id_; }
    /// The next line of standard output, without its line end; nothing when no other comes.
    [[nodiscard]] std::optional<std::string> read_line();
    /// Sends a signal; false when the program has ended.
    bool kill(int signal);
    /// Waits for the end; nothing when it doesn't come. Afterwards both outputs are there to their ends.
    [[nodiscard]] std::optional<exit_status> wait();
    /// True when the program has ended; does not wait.
    [[nodiscard]] bool has_ended();

    /// What has come on standard output so far, the lines read included.
    [[nodiscard]] std::string output() const;
    /// What has come on standard error so far.
    [[nodiscard]] std::string errors() const;

private:
    /// What is read from one of the program's outputs, by a thread of its own.
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
    std::size_t lines_taken_ = 0; ///< bytes of standard output that read_line() has given away
    stream output_;
    stream errors_;
};

} // namespace test
