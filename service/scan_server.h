#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace service {

class scan_engine;

/// What a server is and how much it bears. Every bound is per server or per connection as told; times of zero mean no
/// limit.
struct server_options
{
    /// Port on 127.0.0.1; 0 takes any free one.
    std::uint16_t port = 0;
    /// Path of the service's URI, with or without its leading "/": letters, digits and "/" only.
    std::string uri = "webscan";
    /// Preview size told in the answer to OPTIONS, in bytes. None by default: the client fills up the preview of an
    /// object that is shorter, and then has no way to go on when the preview alone doesn't clear it.
    std::uint32_t preview = 0;
    /// Judge of the objects, in the form that make_engine() reads: "builtin", "clamd:unix:PATH", "clamd:tcp:HOST:PORT".
    /// Not looked at when `custom_engine` is set.
    std::string engine = "builtin";
    /// A judge of the caller's own; shared by all connections.
    std::shared_ptr<scan_engine> custom_engine;

    std::size_t io_threads = 2;   ///< threads that serve sockets
    std::size_t scan_threads = 4; ///< objects that are judged at a time; others wait their turn

    std::size_t max_connections = 512;                  ///< one more is answered 503 and closed
    std::uint64_t max_body = std::uint64_t{512} << 20U; ///< bytes of one object; a larger one is answered 413
    std::uint32_t max_preview = 65536;                  ///< largest preview that a peer may announce, in bytes

    /// A peer that began a request and then sends nothing for so long is dropped; so is one that takes nothing of its
    /// answer for so long.
    std::chrono::milliseconds stall_timeout{60000};
    /// A connection without a request for so long is closed; zero keeps it, as clients pool their connections.
    std::chrono::milliseconds idle_timeout{0};
    /// How long a peer that is told of the end of its connection may go on sending: what it sends is read and dropped,
    /// as a connection closed with bytes unread would take the answer away from the peer.
    std::chrono::milliseconds linger_timeout{2000};
};

/// An ICAP/1.0 server on the loopback interface: OPTIONS, REQMOD and RESPMOD at one URI, many connections at once.
/// start() and stop() are called from one thread; the server's own threads never outlive stop().
class scan_server
{
public:
    using options = server_options;

    /// Raises std::invalid_argument for options that cannot be: an unknown engine, a URI with other characters.
    explicit scan_server(options settings);
    scan_server(const scan_server&) = delete;
    scan_server& operator=(const scan_server&) = delete;
    /// Stops the server.
    ~scan_server();

    /// Binds, listens and starts the threads; returns when connections are accepted. Raises std::system_error when the
    /// port cannot be had, std::logic_error when the server was started before.
    void start();
    /// The port in use; 0 before start().
    [[nodiscard]] std::uint16_t port() const noexcept;
    /// Connections that are open now.
    [[nodiscard]] std::size_t connections() const noexcept;
    /// Closes every connection, gives up scans that are under way and joins all threads. May be called again.
    void stop();

private:
    class implementation;
    std::unique_ptr<implementation> implementation_;
};

} // namespace service
