#pragma once

#include "service/engine/stop.h"

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace service {

/// The peer has broken the connection.
class connection_lost : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A stream socket for use on one thread at a time. Each operation blocks until it completes, its timeout or the
/// deadline of the stream expires, or a stop is requested. Failures throw std::runtime_error; after a failure the
/// stream must only be destroyed, unless documented otherwise.
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
    /// Throws connection_lost if the peer has broken the connection.
    [[nodiscard]] std::size_t read_some(char* destination, std::size_t count);

    /// Receives what arrives while bytes are sent. Returns false if no more bytes are to be sent.
    using receiver = std::function<bool(std::string_view arrived)>;
    /// As write(), but passes what the peer sends meanwhile to `arrived`. Returns false if not all bytes were sent:
    /// `arrived` has returned false, or the peer has ended the stream or accepts no more data.
    [[nodiscard]] bool write_while_reading(std::string_view bytes, const receiver& arrived);
    /// Returns true if the connection is open and the peer has sent nothing that has not been read. Does not block.
    [[nodiscard]] bool is_quiet();
    /// Continues with another stop token and deadline. Without arguments: a stream that is kept for later.
    void reuse(stop_token stop = {}, time_point deadline = time_point::max());
    /// Moves the deadline to an earlier time; a later one changes nothing.
    void end_by(time_point deadline) { deadline_ = std::min(deadline_, deadline); }

private:
    enum class waiting
    {
        none_arrived,
        passed_on,
        ended
    };
    waiting pass_arrived(const receiver& arrived);
    void wait_until_ready();
    /// Runs the I/O context until the handler of the started operation has run. `what` names the operation in the
    /// error.
    void wait(const bool& done, const char* what);
    [[noreturn]] void fail(const char* what) const;

    boost::asio::io_context io_{1};
    boost::asio::generic::stream_protocol::socket socket_{io_};
    std::chrono::milliseconds timeout_;
    time_point deadline_;
    stop_token stop_;
    std::optional<stop_callback> on_stop_;
};

} // namespace service
