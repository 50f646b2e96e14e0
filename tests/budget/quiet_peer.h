#pragma once

#include "tests/support/loopback_socket.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace budget {

/// An ICAP service on 127.0.0.1 that finds nothing. Its threads are set aside, so that nothing they do is counted. It
/// answers OPTIONS, health questions and mail scans; a body must not contain the end mark of chunks.
class quiet_peer
{
public:
    quiet_peer();
    quiet_peer(const quiet_peer&) = delete;
    quiet_peer& operator=(const quiet_peer&) = delete;
    ~quiet_peer();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    /// Returns the number of mail scans that were answered.
    [[nodiscard]] std::uint64_t scans() const noexcept { return scans_; }
    /// Returns the bytes received on all connections.
    [[nodiscard]] std::uint64_t received() const noexcept { return received_; }

private:
    void accept_connections();
    void serve(test::loopback_socket& connection);
    bool read_some(test::loopback_socket& connection, std::string& pending);
    bool serve_request(test::loopback_socket& connection, std::string& pending);
    bool read_body(test::loopback_socket& connection, std::string& pending);

    test::loopback_socket listener_;
    std::uint16_t port_;
    std::atomic<bool> stop_{false};
    std::atomic<std::uint64_t> scans_{0};
    std::atomic<std::uint64_t> received_{0};
    std::thread acceptor_;
};

} // namespace budget
