#pragma once

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>

#include <chrono>
#include <cstddef>
#include <functional>
#include <stop_token>
#include <string_view>

namespace service {

/// A stream socket for use on one thread: each operation blocks until it is done, its time is over or a stop is asked
/// for. Failures raise std::runtime_error; after one the stream is good for nothing but its destructor, unless told.
class timed_stream
{
public:
    using endpoint = boost::asio::generic::stream_protocol::endpoint;

    timed_stream(std::chrono::milliseconds timeout, std::stop_token stop);
    timed_stream(const timed_stream&) = delete;
    timed_stream& operator=(const timed_stream&) = delete;
    ~timed_stream();

    void connect(const endpoint& peer);
    /// Sends everything. False when the peer does not take it any more; what the peer said before can still be read.
    [[nodiscard]] bool write(std::string_view bytes);
    /// Receives some bytes; 0 when the peer sends no more.
    [[nodiscard]] std::size_t read_some(char* destination, std::size_t count);

private:
    /// Runs what was started until its handler has run; `what` names it in the error.
    void wait(const bool& done, const char* what);

    boost::asio::io_context io_{1};
    boost::asio::generic::stream_protocol::socket socket_{io_};
    std::chrono::milliseconds timeout_;
    std::stop_token stop_;
    std::stop_callback<std::function<void()>> on_stop_;
};

} // namespace service
