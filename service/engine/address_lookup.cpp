#include "service/engine/address_lookup.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace service {

namespace ip = boost::asio::ip;

/// Shared with the thread of a query, which may outlive the lookup.
struct address_lookup::state
{
    state(std::string name, std::uint16_t number, query function)
        : host(std::move(name))
        , port(number)
        , asked(std::move(function))
    {}

    const std::string host;
    const std::uint16_t port;
    const query asked;
    std::mutex lock;
    std::condition_variable changed;
    addresses found;
    std::string fault; ///< of the last query
    timed_stream::time_point fresh_until{};
    bool under_way = false;
    std::uint64_t ended = 0; ///< queries that have ended

    void run()
    {
        addresses now;
        std::string why;
        try {
            now = asked(host, port);
            why = now.empty() ? "no address" : "";
        } catch (const std::exception& failure) {
            why = failure.what();
        }
        const std::lock_guard guard(lock);
        found = std::move(now);
        fault = std::move(why);
        fresh_until = std::chrono::steady_clock::now() + lifetime;
        under_way = false;
        ++ended;
        changed.notify_all();
    }
};

address_lookup::address_lookup(std::string host, std::uint16_t port, query asked)
    : state_(std::make_shared<state>(std::move(host), port, std::move(asked)))
{
    boost::system::error_code error;
    const ip::address literal = ip::make_address(state_->host, error);
    if (!error) {
        state_->found = {ip::tcp::endpoint(literal, port)};
        state_->fresh_until = timed_stream::time_point::max();
    }
}

address_lookup::~address_lookup() = default;

address_lookup::addresses address_lookup::find(std::chrono::milliseconds timeout, const stop_token& stop,
                                               timed_stream::time_point deadline)
{
    const auto now = std::chrono::steady_clock::now();
    const auto until = std::min(now + timeout, deadline);
    const std::shared_ptr<state> shared = state_;
    const stop_callback on_stop(stop, [shared] {
        const std::lock_guard guard(shared->lock);
        shared->changed.notify_all();
    });
    std::unique_lock guard(shared->lock);
    if (!shared->found.empty() && now < shared->fresh_until) {
        return shared->found;
    }
    if (!shared->under_way) {
        std::thread([shared] { shared->run(); }).detach();
        shared->under_way = true;
    }
    const std::uint64_t before = shared->ended;
    shared->changed.wait_until(guard, until, [&] { return shared->ended != before || stop.stop_requested(); });
    if (stop.stop_requested()) {
        throw std::runtime_error("look up: the service is stopping");
    }
    if (shared->ended == before) {
        throw std::runtime_error("look up: no answer in time");
    }
    if (shared->found.empty()) {
        throw std::runtime_error("look up: " + shared->fault);
    }
    return shared->found;
}

address_lookup::addresses query_addresses(const std::string& host, std::uint16_t port)
{
    boost::asio::io_context io;
    ip::tcp::resolver resolver(io);
    address_lookup::addresses found;
    for (const auto& entry : resolver.resolve(host, std::to_string(port))) {
        found.emplace_back(entry.endpoint());
    }
    return found;
}

} // namespace service
