#pragma once

#include "service/engine/stop.h"

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string_view>

namespace service {

/// A stream socket for use on one thread. Each operation blocks until it completes, its timeout or the deadline of the
/// stream expires, or a stop is requested. Failures throw std::runtime_error; after a failure the stream must only be
/// destroyed, unless documented otherwise.
class timed_stream
{
public:
    using endpoint = boost::asio::generic::stream_protocol::endpoint;

    using time_point = std::chrono::steady_clock::time_point;

    timed_stream(std::chrono::milliseconds timeout, stop_token stop, time_point deadline = time_point::max());
    timed_stream(const timed_stream&) = delete;
    timed_stream& operator=(const timed_stream&) = delete;
    ~timed_stream();

    void connect(const endpoint& peer);
    /// Sends all bytes. Returns false if the peer no longer accepts data; data that the peer sent before can still be
    /// read.
    [[nodiscard]] bool write(std::string_view bytes);
    /// Receives at least one byte. Returns the number of bytes; 0 if the peer has ended the stream.
    [[nodiscard]] std::size_t read_some(char* destination, std::size_t count);

private:
    /// Runs the I/O context until the handler of the started operation has run. `what` names the operation in the
    /// error.
    void wait(const bool& done, const char* what);

    boost::asio::io_context io_{1};
    boost::asio::generic::stream_protocol::socket socket_{io_};
    std::chrono::milliseconds timeout_;
    time_point deadline_;
    stop_token stop_;
    stop_callback on_stop_;
};

} // namespace service
