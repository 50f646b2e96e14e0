#include "service/engine/timed_stream.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/write.hpp>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace service {

using boost::system::error_code;

timed_stream::timed_stream(std::chrono::milliseconds timeout, stop_token stop, time_point deadline)
    : timeout_(timeout)
    , deadline_(deadline)
    , stop_(std::move(stop))
    , on_stop_(stop_, [this] { io_.stop(); })
{}

timed_stream::~timed_stream() = default;

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
        throw std::runtime_error("read: " + result.message());
    }
    return received;
}

} // namespace service
