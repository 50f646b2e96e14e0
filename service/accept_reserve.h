#pragma once

#include "service/spare_descriptor.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>

#include <chrono>
#include <cstddef>
#include <string_view>

namespace service {

/// What a listener does while connections cannot be accepted, which is mostly for lack of descriptors: it refuses those
/// that wait, by means of a descriptor that is kept for this, and logs the failure once. Not thread-safe.
class accept_reserve
{
public:
    using clock = std::chrono::steady_clock;

    enum class cause
    {
        lack, ///< the system has no room for the connection, which waits
        peer, ///< the connection has ended before it was accepted
        other
    };
    [[nodiscard]] static cause cause_of(const boost::system::error_code& error);

    accept_reserve() { spare_.take(); }

    /// Logs a failure, unless accepting has failed shortly before.
    void failed(const boost::system::error_code& error, clock::time_point now = clock::now());
    /// Logs that accepting works again, once there was no failure for a second.
    void worked(clock::time_point now = clock::now());
    /// Accepts the connections that wait, at most a few at a time, sends `answer` to each and closes it. The listener
    /// must be non-blocking. Returns their number.
    std::size_t refuse_waiting(boost::asio::ip::tcp::acceptor& listener, boost::asio::io_context& io,
                               std::string_view answer);

private:
    spare_descriptor spare_;
    bool failing_ = false;
    clock::time_point last_failure_;
};

} // namespace service
