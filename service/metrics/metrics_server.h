#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>

namespace service {

class metrics_session;

/// A server for the metrics on 127.0.0.1: HTTP/1.1, GET and HEAD of /metrics, one request each connection. A connection
/// has a few seconds for its request and response. At most `most_sessions` are open; a further one takes the place of
/// the oldest.
class metrics_server
{
public:
    static constexpr std::size_t most_sessions = 8;

    /// `page` returns the metrics; it is called by the threads of `io`. The object must outlive these threads.
    metrics_server(boost::asio::io_context& io, std::function<std::string()> page);
    metrics_server(const metrics_server&) = delete;
    metrics_server& operator=(const metrics_server&) = delete;
    ~metrics_server();

    /// Listens. Returns the port; 0 selects a free one. Throws std::system_error if the port is not available.
    std::uint16_t listen(std::uint16_t port);
    /// Closes everything, so that it keeps the threads no longer. Thread-safe.
    void stop();

private:
    void accept();
    void open(boost::asio::ip::tcp::socket peer);

    boost::asio::io_context& io_;
    std::function<std::string()> page_;
    boost::asio::strand<boost::asio::any_io_executor> strand_;
    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::steady_timer pause_;
    std::deque<std::weak_ptr<metrics_session>> sessions_; ///< the oldest first
    bool stopped_ = false;
};

} // namespace service
