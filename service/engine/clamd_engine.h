#pragma once

#include "service/engine/scan_engine.h"
#include "service/engine/timed_stream.h"

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace service {

/// The address of a clamd daemon.
using clamd_endpoint = timed_stream::endpoint;

/// Returns the address of a clamd on a loopback TCP port. `host` must be "localhost" or a literal loopback address.
/// Throws std::invalid_argument for any other host and for port 0.
[[nodiscard]] clamd_endpoint clamd_tcp_endpoint(std::string_view host, std::uint16_t port);

/// Returns the address of a clamd on a socket file. Throws std::invalid_argument if the system does not support such
/// sockets, if the path is empty, or if it is too long for a socket address.
[[nodiscard]] clamd_endpoint clamd_unix_endpoint(std::string_view path);

/// Judges objects with a clamd daemon. Each object is streamed over its own connection (INSTREAM) while it is read. If
/// clamd rejects an object or does not answer, for any reason, the verdict is an error verdict.
class clamd_engine final : public scan_engine
{
public:
    static constexpr std::chrono::milliseconds default_timeout{25000};

    /// `timeout` applies to each step: connecting, sending one piece, waiting for the reply.
    explicit clamd_engine(clamd_endpoint peer, std::chrono::milliseconds timeout = default_timeout);

    [[nodiscard]] std::string_view name() const noexcept override;
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info& info, stop_token stop) override;
    /// Returns the versions of clamd and of its database. While clamd does not answer, returns the last known ones.
    [[nodiscard]] std::string identity(stop_token stop) override;
    /// Queries the versions; the timeout applies to the whole query.
    [[nodiscard]] engine_state probe(stop_token stop) override;

private:
    clamd_endpoint peer_;
    std::chrono::milliseconds timeout_;
    std::mutex lock_;
    std::string identity_ = "clamd";
};

} // namespace service
