#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <thread>
#include <vector>

namespace bench {

/// The answer of sink_peer to a scan.
constexpr std::string_view clean_reply =
    "ICAP/1.0 204 No Content\r\nISTag: \"bench\"\r\nEncapsulated: null-body=0\r\n\r\n";

/// A peer on the loopback interface that costs as little as a peer can. As an ICAP service it answers OPTIONS, and
/// health questions and mail scans with 204, throwing the bodies away; a request of any other form ends its connection.
/// As a bare sink it throws away what it gets and answers each `message_size` bytes with the bytes of `clean_reply`.
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
    /// Mail scans that have been answered, and the bytes of their bodies.
    [[nodiscard]] std::uint64_t scans() const noexcept { return scans_; }
    [[nodiscard]] std::uint64_t scanned_bytes() const noexcept { return scanned_bytes_; }
    /// Health questions that have been answered.
    [[nodiscard]] std::uint64_t health_questions() const noexcept { return health_questions_; }

private:
    void accept_connections();
    void serve(int connection);
    bool serve_icap_request(int connection, std::vector<char>& pending);
    bool read_body(int connection, std::vector<char>& pending);

    kind kind_;
    std::uint64_t message_size_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<std::uint64_t> received_{0};
    std::atomic<std::uint64_t> scans_{0};
    std::atomic<std::uint64_t> scanned_bytes_{0};
    std::atomic<std::uint64_t> health_questions_{0};
    std::vector<int> connections_; ///< only touched by the accepting thread until it has ended
    std::vector<std::thread> servers_;
    std::thread acceptor_;
};

/// Returns a TCP socket connected to 127.0.0.1, which the caller closes. Throws std::system_error.
int connect_to(std::uint16_t port);

} // namespace bench
