#pragma once

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace bench {

/// A peer on the loopback interface with the lowest possible cost. As an ICAP service it answers OPTIONS and lets every
/// mail scan through with 204, discarding the body; as a bare sink it discards the bytes it receives and answers one
/// byte for each `message_size` bytes.
class sink_peer
{
public:
    enum class kind
    {
        icap,
        bare
    };

    explicit sink_peer(kind what, std::uint64_t message_size = 0);
    sink_peer(const sink_peer&) = delete;
    sink_peer& operator=(const sink_peer&) = delete;
    /// Closes the connections and joins the threads.
    ~sink_peer();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    /// Returns the bytes received on all connections.
    [[nodiscard]] std::uint64_t received() const noexcept { return received_; }

private:
    void accept_connections();
    void serve(int connection);
    bool serve_icap_request(int connection, std::vector<char>& pending);

    kind kind_;
    std::uint64_t message_size_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<std::uint64_t> received_{0};
    std::vector<int> connections_; ///< used by the accepting thread only until it has ended
    std::vector<std::thread> servers_;
    std::thread acceptor_;
};

/// Returns a TCP socket connected to 127.0.0.1, which the caller closes. Throws std::system_error.
int connect_to(std::uint16_t port);

} // namespace bench
