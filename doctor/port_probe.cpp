#include "doctor/port_probe.h"

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <stdexcept>

namespace doctor {

namespace {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;
using error_code = boost::system::error_code;

std::string words_of(const error_code& error)
{
    if (error == asio::error::connection_refused) {
        return "connection refused: no program listens there";
    }
    if (error == asio::error::timed_out) {
        return "the connection was not accepted in time";
    }
    if (error == asio::error::connection_reset || error == asio::error::connection_aborted ||
        error == asio::error::eof) {
        return "the connection was closed";
    }
    if (error == asio::error::access_denied || error == asio::error::no_permission) {
        return "the system denies the connection";
    }
    return "cannot connect";
}

/// One connection, whose steps together take no longer than a time.
class timed_connection
{
public:
    explicit timed_connection(std::chrono::milliseconds longest)
        : end_(std::chrono::steady_clock::now() + longest)
        , socket_(io_)
    {}

    error_code connect(const endpoint& peer)
    {
        error_code result = asio::error::timed_out;
        const tcp::endpoint target(asio::ip::make_address_v4(peer.address), peer.port);
        socket_.async_connect(target, [&result](const error_code& error) { result = error; });
        run();
        return result;
    }

    error_code exchange(const std::string& request, std::string& answer, std::size_t most)
    {
        error_code result = asio::error::timed_out;
        asio::async_write(socket_, asio::buffer(request), [&](const error_code& error, std::size_t) {
            result = error;
            if (!error) {
                result = asio::error::timed_out;
                asio::async_read(socket_, asio::dynamic_buffer(answer, most),
                                 [&](const error_code& ending, std::size_t) { result = ending; });
            }
        });
        run();
        return result;
    }

private:
    /// Runs until there is nothing to wait for. What still waits at the end of the time is cancelled, and its result
    /// is not looked at.
    void run()
    {
        io_.restart();
        io_.run_until(end_);
        if (!io_.stopped()) {
            error_code ignored;
            socket_.close(ignored);
            io_.run();
            throw std::runtime_error("no answer in time");
        }
    }

    std::chrono::steady_clock::time_point end_;
    asio::io_context io_;
    tcp::socket socket_;
};

} // namespace

std::string text_of(const endpoint& peer)
{
    return peer.address + ":" + std::to_string(peer.port);
}

std::string loopback_address(const std::string& host)
{
    if (host == "localhost") {
        return "127.0.0.1";
    }
    error_code error;
    const auto address = asio::ip::make_address_v4(host, error);
    // Windows reads an address with a port, too.
    if (error || host.find_first_not_of("0123456789.") != std::string::npos || !address.is_loopback()) {
        throw std::invalid_argument("'" + host + "' is no loopback address: the mail add-in asks this machine only");
    }
    return address.to_string();
}

std::string refusal_of(const endpoint& peer, std::chrono::milliseconds longest)
{
    try {
        const error_code error = timed_connection(longest).connect(peer);
        return error ? words_of(error) : std::string();
    } catch (const std::runtime_error&) {
        return words_of(asio::error::timed_out);
    }
}

std::string http_get(const endpoint& peer, const std::string& path, std::chrono::milliseconds longest)
{
    constexpr std::size_t most = std::size_t{4} << 20U;
    timed_connection connection(longest);
    if (const error_code error = connection.connect(peer)) {
        throw std::runtime_error(words_of(error));
    }
    const std::string request = "GET " + path + " HTTP/1.1\r\nHost: " + text_of(peer) + "\r\nConnection: close\r\n\r\n";
    std::string answer;
    const error_code error = connection.exchange(request, answer, most);
    if (error && error != asio::error::eof) {
        throw std::runtime_error(words_of(error));
    }
    return answer;
}

} // namespace doctor
