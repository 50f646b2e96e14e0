#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace test {

class child_process;

/// A clamd of our own, on a socket and with a database of its own, that knows the standard antivirus test file as
/// "Test.File-1.UNOFFICIAL". POSIX only.
class clamd_daemon
{
public:
    /// Returns when it answers; `stream_limit` is the size of the largest object that it takes, as its configuration
    /// tells it. Raises std::runtime_error with what is missing.
    explicit clamd_daemon(const std::string& stream_limit = "1M");
    clamd_daemon(const clamd_daemon&) = delete;
    clamd_daemon& operator=(const clamd_daemon&) = delete;
    ~clamd_daemon();

    [[nodiscard]] std::string socket() const { return (folder_ / "socket").string(); }
    /// The engine that asks it, as service::make_engine reads it.
    [[nodiscard]] std::string engine() const { return "clamd:unix:" + socket(); }
    /// Ends the daemon. Raises std::runtime_error when it doesn't.
    void end();

private:
    void write_configuration(const std::string& stream_limit);
    void wait_until_it_answers();

    std::filesystem::path folder_; ///< goes with the object
    std::unique_ptr<child_process> program_;
};

} // namespace test
