#pragma once

#include "tests/service/engine/daemon_process.h"

#include <string>

namespace test {

/// A clamd process with its own socket and database. It detects the standard antivirus test file as
/// "Test.File-1.UNOFFICIAL". POSIX only.
class clamd_daemon
{
public:
    /// Returns once the daemon answers. `stream_limit` is the size of the largest object that it accepts, in the form
    /// of its configuration file. Throws std::runtime_error that names the missing part.
    explicit clamd_daemon(const std::string& stream_limit = "1M");

    [[nodiscard]] std::string socket() const { return (daemon_.folder() / "socket").string(); }
    /// Returns the engine that uses the daemon, in the form accepted by service::make_engine.
    [[nodiscard]] std::string engine() const { return "clamd:unix:" + socket(); }
    /// Ends the daemon. Throws std::runtime_error if it does not end.
    void end() { daemon_.end(); }

private:
    void write_configuration(const std::string& stream_limit);

    daemon_process daemon_;
};

} // namespace test
