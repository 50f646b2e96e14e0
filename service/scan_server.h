#pragma once

#include "service/notice_texts.h"
#include "service/object_lists.h"
#include "service/policy.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace service {

class happenings;
class scan_engine;
struct service_metrics;

/// Configuration and limits of a server. Each limit applies per server or per connection as documented. A time of zero
/// means no limit.
struct server_options
{
    /// Port on 127.0.0.1. 0 selects any free port.
    std::uint16_t port = 0;
    /// Port on 127.0.0.1 for the metrics (HTTP, path /metrics). 0 selects any free port; no value: no metrics.
    std::optional<std::uint16_t> metrics_port;
    /// Path of the service's URI, with or without its leading "/": letters, digits and "/" only.
    std::string uri = "webscan";
    /// Preview size in bytes announced in the response to OPTIONS. 0 (the default) announces no preview: the client
    /// pads the preview of a shorter object, and then cannot continue if the preview alone does not clear it.
    std::uint32_t preview = 0;
    /// Scan engines, in the form accepted by make_engines(): each judges every object, and each may name alternatives,
    /// separated by commas. Ignored if `custom_engine` is set.
    std::vector<std::string> engines{"builtin"};
    std::size_t clamd_streams = 10; ///< objects that one clamd judges at a time; 0: any number
    /// Scan engine provided by the caller. Shared by all connections.
    std::shared_ptr<scan_engine> custom_engine;
    /// Learns what happens to the server; may be null.
    std::shared_ptr<happenings> listener;

    std::size_t io_threads = 2;   ///< threads that serve sockets
    std::size_t scan_threads = 4; ///< objects judged at a time; others wait in the order of their requests
    /// Time for the verdict of one object, from the end of its request: its wait for a scanner and every step of the
    /// engine. Afterwards the peer receives an error response. Less than the time for which clients wait.
    std::chrono::milliseconds scan_timeout{50000};
    /// Time between probes of the engine, which determine the ISTag. Zero: only when a client requests the options or
    /// asks for the health.
    std::chrono::milliseconds probe_interval{0};

    /// Verdicts that are kept, so that the engine is not asked about the same object again. Zero: none.
    std::size_t cache_entries = 0;

    /// Open connections. A further one takes the place of the connection that has been idle longest or, if none is
    /// idle, of the one that has waited longest for the rest of a request's heads. If there is none either, the further
    /// one is answered with 503 and closed.
    std::size_t max_connections = 10000;
    std::uint64_t max_body = std::uint64_t{512} << 20U; ///< bytes of one object; a larger one is answered with 413
    /// Bytes of all objects that are kept at a time, in memory and in temporary files. A request that exceeds them is
    /// answered with 503.
    std::uint64_t body_budget = std::uint64_t{2} << 30U;
    /// Objects that may be in temporary files at a time. A further one that needs a file is answered with 503.
    std::size_t body_files = std::numeric_limits<std::size_t>::max();
    /// What is done with objects about which there is no verdict.
    policies policy;
    /// Template of the notices, a file whose name is UTF-8. Empty: the delivered page.
    std::string notice_file;
    notice_language language = notice_language::english; ///< of the texts in notices
    /// Threats, names and types that the administrator decides about.
    list_options lists;
    std::uint32_t max_preview = 65536; ///< largest preview that a peer may announce, in bytes

    /// A peer that has begun a request and then sends nothing for this time is disconnected, and so is a peer that
    /// accepts no bytes of its response for this time.
    std::chrono::milliseconds stall_timeout{60000};
    /// Time for all heads of a request, from the first byte that has been read.
    std::chrono::milliseconds head_timeout{10000};
    /// Bytes that a peer must send each second of a body, on average over each `rate_period`. Zero: any number.
    std::uint32_t min_rate = 1024;
    std::chrono::milliseconds rate_period{30000};
    /// A connection without a request for this time is closed. Zero keeps connections open, because clients pool them.
    std::chrono::milliseconds idle_timeout{0};
    /// When to find out whether a peer that has ended its sending while its object waits for a verdict is still there:
    /// after this time, and then after twice as long each. Zero: never. A peer that breaks the connection counts as
    /// gone at once. The scan of a peer that is gone is stopped.
    std::chrono::milliseconds leave_timeout{1000};
    /// How long a peer may continue sending after the end of its connection was announced. The bytes received are
    /// discarded: closing a connection with unread bytes would make the peer lose the response.
    std::chrono::milliseconds linger_timeout{2000};
};

/// An ICAP/1.0 server on the loopback interface: OPTIONS, REQMOD and RESPMOD at one URI, many connections at once.
/// start() and stop() must be called from one thread. The server's threads never outlive stop().
class scan_server
{
public:
    using options = server_options;

    /// Throws std::invalid_argument for invalid options: an unknown engine, a URI with other characters, an
    /// invalid pattern or template. Throws std::runtime_error if the template cannot be read.
    explicit scan_server(options settings);
    scan_server(const scan_server&) = delete;
    scan_server& operator=(const scan_server&) = delete;
    /// Calls stop().
    ~scan_server();

    /// Binds, listens and starts the threads. Returns when connections are accepted. Throws std::system_error if the
    /// port is not available, std::logic_error if the server was started before.
    void start();
    /// Returns the port in use; 0 before start().
    [[nodiscard]] std::uint16_t port() const noexcept;
    /// Returns the port of the metrics in use; 0 before start() and without metrics.
    [[nodiscard]] std::uint16_t metrics_port() const noexcept;
    /// Returns the numbers that this server counts.
    [[nodiscard]] service_metrics& metrics() noexcept;
    /// Returns the number of open connections.
    [[nodiscard]] std::size_t connections() const noexcept;
    /// Serves the requests that begin from now on with these options. Requests under way, and the connections, are not
    /// affected. Options that apply at start only keep their values: the ports, the URI, the numbers of threads and the
    /// listener. Waits for the first probe of another engine, but not for long. Throws as the constructor does for
    /// invalid options, which then change nothing. Must be called by the thread that called start(), between start()
    /// and stop().
    void reconfigure(options settings);
    /// Closes every connection, abandons scans in progress and joins all threads. May be called more than once.
    void stop();

private:
    class implementation;
    std::unique_ptr<implementation> implementation_;
};

} // namespace service
