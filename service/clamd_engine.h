#pragma once

#include "service/scan_engine.h"
#include "service/timed_stream.h"

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace service {

/// How to reach a clamd.
using clamd_endpoint = timed_stream::endpoint;

/// A clamd behind a loopback TCP port. `host` is "localhost" or a literal loopback address; anything else, and port 0,
/// raises std::invalid_argument.
[[nodiscard]] clamd_endpoint clamd_tcp_endpoint(std::string_view host, std::uint16_t port);

/// A clamd behind a socket file. Raises std::invalid_argument where the system has none, and for a path that is empty
/// or too long for a socket address.
[[nodiscard]] clamd_endpoint clamd_unix_endpoint(std::string_view path);

/// Judges objects with a clamd: each is streamed over a connection of its own (INSTREAM) while it is read. An object
/// that clamd refuses or does not answer for, whatever the reason, gets an error verdict.
class clamd_engine final : public scan_engine
{
public:
    static constexpr std::chrono::milliseconds default_timeout{25000};

    /// `timeout` bounds each step: connecting, sending one piece, waiting for the answer.
    explicit clamd_engine(clamd_endpoint peer, std::chrono::milliseconds timeout = default_timeout);

    [[nodiscard]] std::string_view name() const noexcept override;
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info& info, std::stop_token stop) override;
    /// clamd's version and that of its database; the last known ones while it does not answer.
    [[nodiscard]] std::string identity(std::stop_token stop) override;

private:
    clamd_endpoint peer_;
    std::chrono::milliseconds timeout_;
    std::mutex lock_;
    std::string identity_ = "clamd";
};

} // namespace service
