#pragma once

#include "service/idle_connections.h"
#include "service/istag.h"
#include "service/reply_maker.h"
#include "service/request_reader.h"
#include "service/scan_engine.h"
#include "service/scan_server.h"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace service {

/// Objects shared by all connections of one server. They outlive the connections.
struct connection_services
{
    const server_options& settings;
    std::string path; ///< of the service's URI, with its leading "/"
    reply_maker replies;
    std::shared_ptr<scan_engine> engine;
    service::istag& tag;
    boost::asio::thread_pool& scanners;
    idle_connections& idle;
    std::stop_token stop;
};

/// One peer: reads requests, has their objects judged, and responds, one request at a time. Everything runs on the
/// connection's strand except the judging, which runs on a scanner thread; meanwhile nothing is read or written.
/// Pending operations keep the object alive. The end of the connection is reported exactly once, when its socket is
/// closed. While no request has begun, the connection is listed as idle and holds no buffer.
class connection final : public std::enable_shared_from_this<connection>
{
public:
    using end_handler = std::function<void()>;

    connection(boost::asio::ip::tcp::socket peer, connection_services& services, end_handler ended);
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;
    ~connection();

    void start();
    /// Responds with 503 and closes, because the server has reached its maximum number of connections.
    void refuse();
    /// Closes the connection. Thread-safe.
    void close();
    /// Closes the connection, which was taken from the idle ones, to make room for another, unless a request has begun
    /// meanwhile. Calls `decided` with true if it is closed. Thread-safe.
    void give_way(std::function<void(bool)> decided);

private:
    using progress = request_reader::progress;
    enum class after_write
    {
        next_request,
        behind_preview,
        close
    };

    void begin_request(bool end_mark_may_lead);
    void advance();
    void read_more();
    void receive();
    void list_as_idle(bool idle);
    void report_end();
    void judge();
    [[nodiscard]] reply_maker::reply make_reply();
    void judged(reply_maker::reply reply);
    void answer_bad_request(const std::string& why, std::uint32_t status);
    void answer(reply_maker::reply reply, after_write next);
    void write_more();
    void written();
    /// Shuts down sending, then waits for the peer to do the same.
    void linger();
    void drop_what_comes();
    /// Closes the connection unless this function or expect_nothing() is called again within `limit`. Zero means no
    /// limit.
    void expect_within(std::chrono::milliseconds limit);
    void expect_nothing();
    void end(const char* why);

    boost::asio::ip::tcp::socket socket_;
    boost::asio::strand<boost::asio::any_io_executor> strand_;
    boost::asio::steady_timer timer_;
    connection_services& services_;
    end_handler ended_;
    std::string inbox_;
    std::optional<request_reader> reader_;
    reply_maker::reply reply_;
    std::unique_ptr<icap::packet_reader> packets_; ///< reads from reply_
    std::string outbox_;
    after_write next_ = after_write::next_request;
    idle_connections::place idle_place_ = 0; ///< 0 while a request is under way
    bool closed_ = false;
};

} // namespace service
