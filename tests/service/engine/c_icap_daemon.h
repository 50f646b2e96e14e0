#pragma once

#include "tests/service/engine/daemon_process.h"

#include <cstdint>
#include <string>

namespace test {

/// A c-icap process with a folder of its own, on a free loopback port. Its service "echo" returns each object, and
/// "avscan" has it judged by a clamd. POSIX only.
class c_icap_daemon
{
public:
    /// `clamd_socket` is the socket of a running clamd; empty: without the service "avscan". Returns once the daemon
    /// answers. Throws std::runtime_error that names the missing part.
    explicit c_icap_daemon(const std::string& clamd_socket);
    c_icap_daemon(const c_icap_daemon&) = delete;
    c_icap_daemon& operator=(const c_icap_daemon&) = delete;
    /// Ends the daemon and its children. That takes ten seconds if a connection to it is open.
    ~c_icap_daemon();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    /// Returns the engine that uses a service of the daemon, in the form accepted by service::make_engine.
    [[nodiscard]] std::string engine(const std::string& service) const
    {
        return "icap://127.0.0.1:" + std::to_string(port_) + "/" + service;
    }
    /// Ends the daemon. Throws std::runtime_error if it does not end.
    void end() { daemon_.end(); }

private:
    void write_configuration(const std::string& clamd_socket);
    [[nodiscard]] bool answers() const;

    daemon_process daemon_;
    std::uint16_t port_ = 0;
};

} // namespace test
