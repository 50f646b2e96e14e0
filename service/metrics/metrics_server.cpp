#include "service/metrics/metrics_server.h"

#include "service/listener.h"
#include "service/metrics/metrics_request.h"

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include <chrono>
#include <system_error>
#include <utility>

namespace service {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::size_t largest_head = 8192;
constexpr std::chrono::seconds patience{5}; ///< for a request and its response
constexpr std::chrono::milliseconds pause_after_failure{50};

} // namespace

/// One connection. Pending operations keep the object alive.
class metrics_session final : public std::enable_shared_from_this<metrics_session>
{
public:
    metrics_session(asio::ip::tcp::socket peer, const std::function<std::string()>& page)
        : socket_(std::move(peer))
        , strand_(asio::make_strand(socket_.get_executor()))
        , timer_(strand_)
        , page_(page)
    {}

    void start()
    {
        asio::post(strand_, [self = shared_from_this()] { self->read(); });
    }
    /// Thread-safe.
    void close()
    {
        asio::post(strand_, [self = shared_from_this()] { self->end(); });
    }

private:
    void read();
    void answer(std::string text);
    void linger();
    void end();

    asio::ip::tcp::socket socket_;
    asio::strand<asio::any_io_executor> strand_;
    asio::steady_timer timer_;
    const std::function<std::string()>& page_;
    std::string inbox_;
    std::string outbox_;
};

void metrics_session::read()
{
    timer_.expires_after(patience);
    timer_.async_wait([weak = weak_from_this()](const error_code& error) {
        if (const auto self = weak.lock(); self && !error) {
            self->end();
        }
    });
    asio::async_read_until(
        socket_, asio::dynamic_buffer(inbox_, largest_head), "\r\n\r\n",
        asio::bind_executor(strand_, [self = shared_from_this()](const error_code& error, std::size_t count) {
            if (error == asio::error::not_found) {
                self->answer(refuse_large_request());
            } else if (error) {
                self->end();
            } else {
                self->answer(answer_metrics_request(std::string_view(self->inbox_).substr(0, count), self->page_));
            }
        }));
}

void metrics_session::answer(std::string text)
{
    outbox_ = std::move(text);
    asio::async_write(socket_, asio::buffer(outbox_),
                      asio::bind_executor(strand_, [self = shared_from_this()](const error_code& error, std::size_t) {
                          if (error) {
                              self->end();
                              return;
                          }
                          error_code ignored;
                          self->socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
                          self->linger();
                      }));
}

/// Closing a connection with unread bytes would make the peer lose the response.
void metrics_session::linger()
{
    inbox_.resize(largest_head);
    socket_.async_read_some(
        asio::buffer(inbox_),
        asio::bind_executor(strand_, [self = shared_from_this()](const error_code& error, std::size_t) {
            if (error) {
                self->end();
            } else {
                self->linger();
            }
        }));
}

void metrics_session::end()
{
    error_code ignored;
    timer_.cancel();
    socket_.cancel(ignored);
    socket_.close(ignored);
}

metrics_server::metrics_server(asio::io_context& io, std::function<std::string()> page)
    : io_(io)
    , page_(std::move(page))
    , strand_(asio::make_strand(asio::any_io_executor(io.get_executor())))
    , acceptor_(strand_)
    , pause_(strand_)
{}

metrics_server::~metrics_server() = default;

std::uint16_t metrics_server::listen(std::uint16_t port)
{
    const asio::ip::tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
    try {
        acceptor_.open(endpoint.protocol());
        claim_port(acceptor_);
        acceptor_.bind(endpoint);
        acceptor_.listen();
    } catch (const boost::system::system_error& failure) {
        error_code ignored;
        acceptor_.close(ignored);
        throw std::system_error(failure.code(), "metrics port " + std::to_string(port));
    }
    asio::post(strand_, [this] { accept(); });
    return acceptor_.local_endpoint().port();
}

void metrics_server::accept()
{
    if (stopped_) {
        return;
    }
    acceptor_.async_accept(io_, [this](const error_code& error, asio::ip::tcp::socket peer) {
        if (stopped_) {
            return;
        }
        if (error) {
            pause_.expires_after(pause_after_failure);
            pause_.async_wait([this](const error_code&) { accept(); });
            return;
        }
        asio::post(strand_, [this] { accept(); });
        open(std::move(peer));
    });
}

void metrics_server::open(asio::ip::tcp::socket peer)
{
    std::erase_if(sessions_, [](const auto& entry) { return entry.expired(); });
    if (sessions_.size() >= most_sessions) {
        if (const auto oldest = sessions_.front().lock()) {
            oldest->close();
        }
        sessions_.pop_front();
    }
    const auto opened = std::make_shared<metrics_session>(std::move(peer), page_);
    sessions_.push_back(opened);
    opened->start();
}

void metrics_server::stop()
{
    asio::post(strand_, [this] {
        stopped_ = true;
        error_code ignored;
        acceptor_.close(ignored);
        pause_.cancel();
        for (const auto& entry : sessions_) {
            if (const auto still_open = entry.lock()) {
                still_open->close();
            }
        }
    });
}

} // namespace service
