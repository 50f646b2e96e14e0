#include "service/scan_server.h"

#include "service/accept_reserve.h"
#include "service/connection.h"
#include "service/episode.h"
#include "service/event_loops.h"
#include "service/happenings.h"
#include "service/listener.h"
#include "service/log.h"
#include "service/metrics/exposition.h"
#include "service/metrics/metrics_server.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace service {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::size_t most_refused = 64; ///< maximum number of connections that are being refused at a time
constexpr std::chrono::milliseconds accept_pause{50};

bool is_uri_character(char value)
{
    return (value >= 'a' && value <= 'z') || (value >= 'A' && value <= 'Z') || (value >= '0' && value <= '9') ||
           value == '/';
}

std::string path_of(const std::string& uri)
{
    std::string path = uri.starts_with('/') ? uri : "/" + uri;
    if (path.size() < 2 || !std::all_of(path.begin(), path.end(), is_uri_character)) {
        throw std::invalid_argument("'" + uri + "' is no path of a service: letters, digits and '/' only");
    }
    return path;
}

/// Waits until the first probe of an engine has ended, but not longer than a request would.
void wait_for_probe(engine_watch& watch)
{
    const auto probed = std::make_shared<std::promise<void>>();
    watch.refresh([probed] { probed->set_value(); });
    (void)probed->get_future().wait_for(engine_watch::patience);
}

} // namespace

class scan_server::implementation
{
public:
    explicit implementation(options settings)
        : path_(path_of(settings.uri))
        , bodies_(settings.body_budget, settings.body_files)
        , loops_(settings.io_threads)
        , acceptor_(loops_.first())
        , pause_(loops_.first())
    {
        auto engine =
            std::make_shared<engine_in_use>(engine_of(settings), settings.probe_interval, settings.cache_entries,
                                            metrics_.istag_changes, settings.listener);
        settings_.exchange(in_force(std::move(settings), std::move(engine)));
    }
    implementation(const implementation&) = delete;
    implementation& operator=(const implementation&) = delete;
    ~implementation() { stop(); }

    void start();
    void reconfigure(options settings);
    void stop();
    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    [[nodiscard]] std::uint16_t metrics_port() const noexcept { return metrics_port_; }
    [[nodiscard]] service_metrics& metrics() noexcept { return metrics_; }
    [[nodiscard]] std::size_t connections() const noexcept { return served_ + refused_; }

private:
    void listen();
    void listen_for_metrics();
    [[nodiscard]] service_figures figures();
    void accept();
    void accept_failed(const error_code& error);
    void accept_after_pause();
    void accepted(const std::shared_ptr<connection::socket>& peer);
    void admit(connection::socket peer);
    void refuse(connection::socket peer);
    void count_refused(std::size_t count);
    std::shared_ptr<connection> open(connection::socket peer, std::atomic<std::size_t>& counted);
    void close_all();

    service_metrics metrics_;
    current_settings settings_;
    std::string path_;
    std::atomic<std::uint16_t> port_{0};
    std::atomic<std::size_t> served_{0};  ///< open connections
    std::atomic<std::size_t> refused_{0}; ///< connections that are being refused
    waiting_connections idle_;            ///< no request has begun on them
    waiting_connections heads_;           ///< the heads of a request have not arrived whole
    body_budget bodies_;
    event_loops loops_;
    // Used on the thread of the first loop only:
    asio::ip::tcp::acceptor acceptor_;
    asio::steady_timer pause_;
    accept_reserve accept_reserve_;
    episode refusals_;
    std::vector<std::weak_ptr<connection>> open_; ///< entries of ended connections are removed from time to time
    bool closed_ = false;

    std::unique_ptr<scan_queue> scanners_;
    std::unique_ptr<connection_services> services_;
    std::atomic<std::uint16_t> metrics_port_{0};
    std::unique_ptr<metrics_server> metrics_server_; ///< null without metrics
};

void scan_server::implementation::listen()
{
    const asio::ip::tcp::endpoint endpoint(asio::ip::address_v4::loopback(), settings_.get()->options.port);
    try {
        acceptor_.open(endpoint.protocol());
        claim_port(acceptor_);
        acceptor_.bind(endpoint);
        acceptor_.listen();
        acceptor_.non_blocking(true);
        port_ = acceptor_.local_endpoint().port();
    } catch (const boost::system::system_error& failure) {
        error_code ignored;
        acceptor_.close(ignored);
        throw std::system_error(failure.code(), "port " + std::to_string(settings_.get()->options.port));
    }
}

void scan_server::implementation::listen_for_metrics()
{
    const auto port = settings_.get()->options.metrics_port;
    if (!port) {
        return;
    }
    auto made = std::make_unique<metrics_server>(loops_.first(), [this] { return exposition(metrics_, figures()); });
    try {
        metrics_port_ = made->listen(*port);
    } catch (const std::system_error&) {
        error_code ignored;
        acceptor_.close(ignored);
        port_ = 0;
        throw;
    }
    metrics_server_ = std::move(made);
}

service_figures scan_server::implementation::figures()
{
    const auto scans = scanners_->load();
    const settings_pointer settings = settings_.get();
    engine_state state = settings->engine->tag.state();
    if (state.parts.empty()) {
        state.parts.push_back({std::string(settings->engine->engine->name()), state.fault.empty(), state.version});
    }
    const auto cache = settings->engine->cache.numbers();
    return {connections(),          scans.waiting, scans.running, bodies_.used(),
            std::move(state.parts), cache.entries, cache.hits,    cache.misses};
}

void scan_server::implementation::start()
{
    if (services_) {
        throw std::logic_error("the server was started before");
    }
    listen();
    listen_for_metrics();
    const settings_pointer settings = settings_.get();
    scanners_ = std::make_unique<scan_queue>(std::max<std::size_t>(settings->options.scan_threads, 1));
    services_ = std::make_unique<connection_services>(
        connection_services{settings_, path_, *scanners_, idle_, heads_, metrics_, bodies_});
    settings->engine->watch.start();
    asio::post(loops_.first(), [this] { accept(); });
    loops_.start();
}

void scan_server::implementation::accept()
{
    if (closed_) {
        return;
    }
    acceptor_.async_accept(loops_.next(), [this](const error_code& error, connection::socket peer) {
        if (closed_) {
            return;
        }
        if (error) {
            accept_failed(error);
            return;
        }
        accept_reserve_.worked();
        asio::post(loops_.first(), [this] { accept(); }); // first, because the next line may throw
        accepted(std::make_shared<connection::socket>(std::move(peer)));
    });
}

/// Nobody waits for an answer because there is no descriptor for it.
void scan_server::implementation::accept_failed(const error_code& error)
{
    const auto cause = accept_reserve::cause_of(error);
    if (cause == accept_reserve::cause::peer) {
        asio::post(loops_.first(), [this] { accept(); });
        return;
    }
    accept_reserve_.failed(error);
    if (cause == accept_reserve::cause::other) {
        accept_after_pause();
        return;
    }
    const settings_pointer settings = settings_.get();
    const auto reply = settings->replies.bare(settings->tag(), unavailable, true);
    const auto& head = reply->raw_head();
    const std::size_t refused = accept_reserve_.refuse_waiting(acceptor_, loops_.first(), {head.data(), head.size()});
    count_refused(refused);
    if (refused == 0) {
        accept_after_pause();
    } else {
        asio::post(loops_.first(), [this] { accept(); });
    }
}

/// A failure such as a lack of descriptors persists; retrying at once would only consume CPU time.
void scan_server::implementation::accept_after_pause()
{
    pause_.expires_after(accept_pause);
    pause_.async_wait([this](const error_code&) { accept(); });
}

/// Makes room first if that is necessary.
void scan_server::implementation::accepted(const std::shared_ptr<connection::socket>& peer)
{
    if (closed_) {
        return;
    }
    if (served_ < settings_.get()->options.max_connections) {
        admit(std::move(*peer));
        return;
    }
    auto replaced = idle_.take_longest();
    if (!replaced) {
        replaced = heads_.take_longest();
    }
    if (!replaced) {
        refuse(std::move(*peer));
        return;
    }
    replaced->give_way([this, peer](bool closed) {
        metrics_.connections_evicted.add(closed ? 1 : 0);
        asio::post(loops_.first(), [this, peer] { accepted(peer); });
    });
}

void scan_server::implementation::admit(connection::socket peer)
{
    metrics_.connections_accepted.add();
    open(std::move(peer), served_)->start();
}

void scan_server::implementation::refuse(connection::socket peer)
{
    count_refused(1);
    if (refused_ < most_refused) {
        open(std::move(peer), refused_)->refuse();
    }
}

void scan_server::implementation::count_refused(std::size_t count)
{
    metrics_.connections_refused.add(count);
    const settings_pointer settings = settings_.get();
    if (count != 0 && refusals_.begins() && settings->options.listener) {
        settings->options.listener->full();
    }
}

std::shared_ptr<connection> scan_server::implementation::open(connection::socket peer,
                                                              std::atomic<std::size_t>& counted)
{
    auto opened = std::make_shared<connection>(std::move(peer), *services_, [&counted] { counted.fetch_sub(1); });
    counted.fetch_add(1);
    if (open_.size() >= 2 * (served_ + refused_)) {
        std::erase_if(open_, [](const auto& entry) { return entry.expired(); });
    }
    open_.push_back(opened);
    return opened;
}

void scan_server::implementation::close_all()
{
    closed_ = true;
    error_code ignored;
    acceptor_.close(ignored);
    pause_.cancel();
    for (const auto& entry : open_) {
        if (const auto still_open = entry.lock()) {
            still_open->close();
        }
    }
    loops_.let_end();
}

void scan_server::implementation::reconfigure(options settings)
{
    if (!services_) {
        throw std::logic_error("the server was not started");
    }
    const settings_pointer before = settings_.get();
    settings.port = before->options.port;
    settings.metrics_port = before->options.metrics_port;
    settings.uri = before->options.uri;
    settings.io_threads = before->options.io_threads;
    settings.scan_threads = before->options.scan_threads;
    settings.listener = before->options.listener;
    auto engine = before->engine;
    const bool same = has_same_engine(before->options, settings);
    if (!same || before->options.probe_interval != settings.probe_interval ||
        before->options.cache_entries != settings.cache_entries) {
        engine = std::make_shared<engine_in_use>(same ? engine->engine : engine_of(settings), settings.probe_interval,
                                                 settings.cache_entries, metrics_.istag_changes, settings.listener);
    }
    auto changed = in_force(std::move(settings), engine); // throws before anything has changed
    if (engine != before->engine) {
        engine->watch.start();
        wait_for_probe(engine->watch);
    }
    bodies_.resize(changed->options.body_budget, changed->options.body_files);
    if (changed->tag() != before->tag()) {
        metrics_.istag_changes.add();
    }
    settings_.exchange(std::move(changed));
    if (engine != before->engine) {
        before->engine->retire();
    }
    asio::post(loops_.first(), [this] {
        for (const auto& entry : open_) {
            if (const auto still_open = entry.lock()) {
                still_open->settings_changed();
            }
        }
    });
}

void scan_server::implementation::stop()
{
    if (!services_) {
        return;
    }
    asio::post(loops_.first(), [this] { close_all(); });
    if (metrics_server_) {
        metrics_server_->stop();
    }
    settings_.get()->engine->retire();
    scanners_->stop();
    loops_.join(); // the threads end with the last connection
}

scan_server::scan_server(options settings)
    : implementation_(std::make_unique<implementation>(std::move(settings)))
{}

scan_server::~scan_server() = default;

void scan_server::start()
{
    implementation_->start();
}

void scan_server::reconfigure(options settings)
{
    implementation_->reconfigure(std::move(settings));
}

std::uint16_t scan_server::port() const noexcept
{
    return implementation_->port();
}

std::uint16_t scan_server::metrics_port() const noexcept
{
    return implementation_->metrics_port();
}

service_metrics& scan_server::metrics() noexcept
{
    return implementation_->metrics();
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
