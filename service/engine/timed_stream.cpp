#include "service/engine/timed_stream.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace service {

using boost::system::error_code;

namespace {

constexpr std::size_t piece_size = 16384;

} // namespace

timed_stream::timed_stream(std::chrono::milliseconds timeout, stop_token stop, time_point deadline)
    : timeout_(timeout)
{
    reuse(std::move(stop), deadline);
}

timed_stream::~timed_stream() = default;

void timed_stream::reuse(stop_token stop, time_point deadline)
{
    on_stop_.reset();
    stop_ = std::move(stop);
    deadline_ = deadline;
    on_stop_.emplace(stop_, [this] { io_.stop(); });
}

void timed_stream::wait(const bool& done, const char* what)
{
    const auto deadline = std::min(std::chrono::steady_clock::now() + timeout_, deadline_);
    io_.restart();
    // A stop requested before the restart is detected here; a later one stops the run.
    while (!done && !stop_.stop_requested() && io_.run_one_until(deadline) != 0) {
    }
    if (done) {
        return;
    }
    // The handler refers to variables of the caller and must have run before they are destroyed.
    error_code ignored;
    socket_.cancel(ignored); // on some systems close does not end a blocked send
    socket_.close(ignored);
    while (!done) {
        io_.restart();
        io_.run_one();
    }
    fail(what);
}

void timed_stream::fail(const char* what) const
{
    throw std::runtime_error(std::string(what) +
                             (stop_.stop_requested() ? ": the service is stopping" : ": no answer in time"));
}

void timed_stream::connect(const endpoint& peer)
{
    bool done = false;
    error_code result;
    socket_.async_connect(peer, [&](const error_code& error) {
        result = error;
        done = true;
    });
    wait(done, "connect");
    if (result) {
        throw std::runtime_error("connect: " + result.message());
    }
    // The end of a request must not wait for the acknowledgement of its beginning. A socket file has no such option.
    error_code ignored;
    socket_.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
}

bool timed_stream::write(std::string_view bytes)
{
    bool done = false;
    error_code result;
    boost::asio::async_write(socket_, boost::asio::buffer(bytes.data(), bytes.size()),
                             [&](const error_code& error, std::size_t) {
                                 result = error;
                                 done = true;
                             });
    wait(done, "write");
    return !result;
}

std::size_t timed_stream::read_some(char* destination, std::size_t count)
{
    bool done = false;
    error_code result;
    std::size_t received = 0;
    socket_.async_read_some(boost::asio::buffer(destination, count), [&](const error_code& error, std::size_t length) {
        result = error;
        received = length;
        done = true;
    });
    wait(done, "read");
    if (result == boost::asio::error::eof) {
        return 0;
    }
    if (result) {
        throw connection_lost("read: " + result.message());
    }
    return received;
}

timed_stream::waiting timed_stream::pass_arrived(const receiver& arrived)
{
    std::array<char, piece_size> piece;
    error_code result;
    const std::size_t count = socket_.receive(boost::asio::buffer(piece), 0, result);
    if (result == boost::asio::error::would_block || result == boost::asio::error::try_again) {
        return waiting::none_arrived;
    }
    return !result && count != 0 && arrived({piece.data(), count}) ? waiting::passed_on : waiting::ended;
}

bool timed_stream::write_while_reading(std::string_view bytes, const receiver& arrived)
{
    error_code result;
    socket_.non_blocking(true, result);
    while (!bytes.empty()) {
        const waiting found = pass_arrived(arrived);
        if (found == waiting::ended) {
            return false;
        }
        const std::size_t count = socket_.send(boost::asio::buffer(bytes.data(), bytes.size()), 0, result);
        if (!result) {
            bytes.remove_prefix(count);
        } else if (result != boost::asio::error::would_block && result != boost::asio::error::try_again) {
            return false;
        } else if (found == waiting::none_arrived) {
            wait_until_ready();
        }
        if (stop_.stop_requested() || std::chrono::steady_clock::now() >= deadline_) {
            fail("write");
        }
    }
    return true;
}

/// Waits until bytes can be sent or received.
void timed_stream::wait_until_ready()
{
    // The handler of the direction that is not ready runs later.
    const auto done = std::make_shared<bool>(false);
    const auto ready = [done](const error_code&) { *done = true; };
    socket_.async_wait(boost::asio::socket_base::wait_write, ready);
    socket_.async_wait(boost::asio::socket_base::wait_read, ready);
    wait(*done, "write");
    error_code ignored;
    socket_.cancel(ignored);
}

bool timed_stream::is_quiet()
{
    char byte = 0;
    error_code result;
    socket_.non_blocking(true, result);
    socket_.receive(boost::asio::buffer(&byte, 1), boost::asio::socket_base::message_peek, result);
    return result == boost::asio::error::would_block || result == boost::asio::error::try_again;
}

} // namespace service
