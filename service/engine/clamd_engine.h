#pragma once

#include "service/engine/clamd_session.h"
#include "service/engine/kept_streams.h"
#include "service/engine/scan_engine.h"
#include "service/engine/stream_places.h"
#include "service/engine/timed_stream.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
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

/// Judges objects with a clamd daemon. Each object is streamed (INSTREAM) in a session of its own while it is read;
/// sessions are kept for further objects. A session that ends without a reply after it was kept is replaced once by a
/// new one, with the whole object. If clamd rejects an object or does not answer, the verdict is an error verdict, or
/// an unchecked verdict if the object is larger than clamd's limit.
class clamd_engine final : public scan_engine
{
public:
    static constexpr std::chrono::milliseconds default_timeout{25000};

    /// As many as clamd judges at a time by default. Further ones would wait within clamd, where the timeout applies.
    static constexpr std::size_t default_streams = 10;

    /// `timeout` applies to each step: connecting, sending one piece, waiting for the reply. `streams` is the number of
    /// objects that are judged at a time, 0 for any number; further ones wait until a stop is requested.
    explicit clamd_engine(clamd_endpoint peer, std::chrono::milliseconds timeout = default_timeout,
                          std::size_t streams = default_streams);

    [[nodiscard]] std::string_view name() const noexcept override;
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info& info, stop_token stop) override;
    /// Returns the versions of clamd and of its database. While clamd does not answer, returns the last known ones.
    [[nodiscard]] std::string identity(stop_token stop) override;
    /// Queries the versions; the timeout applies to the whole query.
    [[nodiscard]] engine_state probe(stop_token stop) override;

    /// The steps of a scan.
    [[nodiscard]] std::unique_ptr<stream_places::place> take_place(const stop_token& stop);
    [[nodiscard]] std::unique_ptr<clamd_session> kept_session(const stop_token& stop);
    [[nodiscard]] std::unique_ptr<clamd_session> new_session(const stop_token& stop);
    void keep(std::unique_ptr<clamd_session> session);

private:
    clamd_endpoint peer_;
    std::chrono::milliseconds timeout_;
    stream_places places_;
    kept_streams<clamd_session> kept_;
    std::mutex lock_;
    std::string identity_ = "clamd";
};

} // namespace service
