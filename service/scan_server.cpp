#include "service/scan_server.h"

#include "service/connection.h"
#include "service/listener.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/thread_pool.hpp>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>
#include <stop_token>
#include <thread>
#include <utility>
#include <vector>

namespace service {

namespace {

namespace asio = boost::asio;

bool is_uri_character(char value)
{
    return (value >= 'a' && value <= 'z') || (value >= 'A' && value <= 'Z') || (value >= '0' && value <= '9') ||
           value == '/';
}

std::string path_of(const std::string& uri)
{
    const std::string path = uri.starts_with('/') ? uri : "/" + uri;
    if (path.size() < 2 || !std::all_of(path.begin(), path.end(), is_uri_character)) {
        throw std::invalid_argument("'" + uri + "' is no path of a service: letters, digits and '/' only");
    }
    return path;
}

} // namespace

class scan_server::implementation
{
public:
    explicit implementation(options settings)
        : settings_(std::move(settings))
        , path_(path_of(settings_.uri))
        , engine_(settings_.custom_engine ? settings_.custom_engine : make_engine(settings_.engine))
    {}
    implementation(const implementation&) = delete;
    implementation& operator=(const implementation&) = delete;
    ~implementation() { stop(); }

    void start();
    void stop();
    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    [[nodiscard]] std::size_t connections() const noexcept { return count_; }

private:
    void accept();
    void accepted(asio::ip::tcp::socket peer);

    options settings_;
    std::string path_;
    std::shared_ptr<scan_engine> engine_;
    std::stop_source stop_;
    istag tag_{engine_, stop_.get_token()};
    std::atomic<std::uint16_t> port_{0};
    std::atomic<std::size_t> count_{0};
    asio::io_context io_;
    asio::ip::tcp::acceptor acceptor_{io_};
    std::unique_ptr<asio::thread_pool> scanners_;
    std::unique_ptr<connection_services> services_;
    std::mutex lock_;
    std::vector<std::weak_ptr<connection>> open_; ///< under lock_; entries of ended connections are swept at times
    std::vector<std::thread> threads_;
};

void scan_server::implementation::start()
{
    if (services_) {
        throw std::logic_error("the server was started before");
    }
    const asio::ip::tcp::endpoint endpoint(asio::ip::address_v4::loopback(), settings_.port);
    acceptor_.open(endpoint.protocol());
    reuse_port_of_ended_connections(acceptor_);
    acceptor_.bind(endpoint);
    acceptor_.listen();
    port_ = acceptor_.local_endpoint().port();
    scanners_ = std::make_unique<asio::thread_pool>(std::max<std::size_t>(settings_.scan_threads, 1));
    services_ = std::make_unique<connection_services>(connection_services{
        settings_, path_, reply_maker(settings_.preview), engine_, tag_, *scanners_, stop_.get_token()});
    accept();
    for (std::size_t i = 0; i < std::max<std::size_t>(settings_.io_threads, 1); ++i) {
        threads_.emplace_back([this] { io_.run(); });
    }
}

void scan_server::implementation::accept()
{
    acceptor_.async_accept([this](const boost::system::error_code& error, asio::ip::tcp::socket peer) {
        if (error == asio::error::operation_aborted || !acceptor_.is_open()) {
            return;
        }
        if (!error) {
            accepted(std::move(peer));
        }
        accept();
    });
}

void scan_server::implementation::accepted(asio::ip::tcp::socket peer)
{
    const bool too_many = count_.fetch_add(1) >= settings_.max_connections;
    const auto opened = std::make_shared<connection>(std::move(peer), *services_, [this] { count_.fetch_sub(1); });
    {
        const std::lock_guard guard(lock_);
        if (open_.size() >= 2 * (count_ + 1)) {
            std::erase_if(open_, [](const auto& entry) { return entry.expired(); });
        }
        open_.push_back(opened);
    }
    if (too_many) {
        opened->refuse();
    } else {
        opened->start();
    }
}

void scan_server::implementation::stop()
{
    if (!services_) {
        return;
    }
    stop_.request_stop();
    asio::post(io_, [this] {
        boost::system::error_code ignored;
        acceptor_.close(ignored);
        const std::lock_guard guard(lock_);
        for (const auto& entry : open_) {
            if (const auto still_open = entry.lock()) {
                still_open->close();
            }
        }
    });
    scanners_->join();
    for (auto& thread : threads_) {
        thread.join();
    }
    threads_.clear();
}

scan_server::scan_server(options settings)
    : implementation_(std::make_unique<implementation>(std::move(settings)))
{}

scan_server::~scan_server() = default;

void scan_server::start()
{
    implementation_->start();
}

std::uint16_t scan_server::port() const noexcept
{
    return implementation_->port();
}

std::size_t scan_server::connections() const noexcept
{
    return implementation_->connections();
}

void scan_server::stop()
{
    implementation_->stop();
}

} // namespace service
