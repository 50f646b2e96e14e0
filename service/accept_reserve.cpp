#include "service/accept_reserve.h"

#include "service/log.h"

#include <boost/asio/buffer.hpp>

#include <array>

namespace service {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::size_t most_at_a_time = 64;
constexpr std::chrono::seconds settled{1};

/// What the peer has sent is read first: otherwise its system could discard the answer.
void send_away(asio::ip::tcp::socket& peer, std::string_view answer)
{
    error_code ignored;
    peer.non_blocking(true, ignored);
    std::array<char, 16384> block;
    (void)peer.read_some(asio::buffer(block), ignored);
    (void)peer.write_some(asio::buffer(answer), ignored);
    peer.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    peer.close(ignored);
}

} // namespace

accept_reserve::cause accept_reserve::cause_of(const error_code& error)
{
    for (const asio::error::basic_errors lack :
         {asio::error::no_descriptors, asio::error::no_buffer_space, asio::error::no_memory}) {
        if (error == lack) {
            return cause::lack;
        }
    }
    if (error == boost::system::errc::too_many_files_open_in_system) {
        return cause::lack;
    }
    const bool of_peer = error == asio::error::connection_aborted || error == asio::error::connection_reset ||
                         error == boost::system::errc::protocol_error;
    return of_peer ? cause::peer : cause::other;
}

void accept_reserve::failed(const error_code& error, clock::time_point now)
{
    if (!failing_) {
        LOG_LINE(service_log(), 200, "could not accept: " << error.message());
    }
    failing_ = true;
    last_failure_ = now;
}

void accept_reserve::worked(clock::time_point now)
{
    if (failing_ && now - last_failure_ >= settled) {
        LOG_LINE(service_log(), 200, "connections are accepted again");
        failing_ = false;
    }
}

std::size_t accept_reserve::refuse_waiting(asio::ip::tcp::acceptor& listener, asio::io_context& io,
                                           std::string_view answer)
{
    std::size_t count = 0;
    spare_.release();
    for (; count < most_at_a_time; ++count) {
        asio::ip::tcp::socket peer(io);
        error_code error;
        listener.accept(peer, error);
        if (error) {
            break;
        }
        send_away(peer, answer);
    }
    spare_.take();
    return count;
}

} // namespace service
