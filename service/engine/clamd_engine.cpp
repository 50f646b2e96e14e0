#include "service/engine/clamd_engine.h"

#include "service/engine/clamd_reply.h"

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <array>
#include <exception>
#include <stdexcept>
#include <utility>

namespace service {

namespace {

constexpr std::size_t longest_chunk = 65536;
constexpr std::size_t longest_reply = 4096;

using namespace std::string_view_literals;

std::string chunk_header(std::uint32_t size)
{
    return {static_cast<char>(size >> 24U), static_cast<char>(size >> 16U), static_cast<char>(size >> 8U),
            static_cast<char>(size)};
}

/// Reads the reply up to its terminating zero byte. Throws std::runtime_error if the reply is too long, has no zero
/// byte, or continues after it.
std::string read_reply(timed_stream& stream)
{
    std::string reply;
    std::array<char, 512> piece;
    for (;;) {
        const std::size_t count = stream.read_some(piece.data(), piece.size());
        if (count == 0) {
            throw std::runtime_error(reply.empty() ? "connection closed without an answer"
                                                   : "connection closed within the answer");
        }
        reply.append(piece.data(), count);
        const std::size_t end = reply.find('\0');
        if (end == reply.size() - 1) {
            reply.pop_back();
            return reply;
        }
        if (end != std::string::npos || reply.size() > longest_reply) {
            throw std::runtime_error("answer not understood: " + printable(reply));
        }
    }
}

class clamd_scan final : public object_scan
{
public:
    clamd_scan(const clamd_endpoint& peer, std::chrono::milliseconds timeout, stop_token stop)
        : stream_(timeout, std::move(stop))
    {
        stream_.connect(peer);
        taken_ = stream_.write("zINSTREAM\0"sv);
    }

    bool data(std::string_view piece) override
    {
        while (taken_ && !piece.empty()) {
            const std::string_view chunk = piece.substr(0, longest_chunk);
            piece.remove_prefix(chunk.size());
            taken_ = stream_.write(chunk_header(static_cast<std::uint32_t>(chunk.size()))) && stream_.write(chunk);
        }
        return taken_;
    }

    [[nodiscard]] verdict finish(web::io_data& /*object*/) override
    {
        taken_ = taken_ && stream_.write(chunk_header(0));
        verdict result = read_clamd_reply(read_reply(stream_));
        // An object that clamd did not accept completely may be condemned, but never cleared.
        if (!taken_ && std::holds_alternative<clean_verdict>(result)) {
            return error_verdict{"answered before the end of the object"};
        }
        return result;
    }

private:
    timed_stream stream_;
    bool taken_ = false; ///< clamd has accepted everything sent so far
};

} // namespace

clamd_endpoint clamd_tcp_endpoint(std::string_view host, std::uint16_t port)
{
    namespace ip = boost::asio::ip;
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    boost::system::error_code error;
    const ip::address address =
        host == "localhost" ? ip::address(ip::address_v4::loopback()) : ip::make_address(std::string(host), error);
    if (error || !address.is_loopback()) {
        throw std::invalid_argument("'" + std::string(host) + "' is not a loopback address");
    }
    if (port == 0) {
        throw std::invalid_argument("port 0 is none to connect to");
    }
    return ip::tcp::endpoint(address, port);
}

clamd_engine::clamd_engine(clamd_endpoint peer, std::chrono::milliseconds timeout)
    : peer_(std::move(peer))
    , timeout_(timeout)
{}

std::string_view clamd_engine::name() const noexcept
{
    return "clamd";
}

std::unique_ptr<object_scan> clamd_engine::begin(const object_info& /*info*/, stop_token stop)
{
    return std::make_unique<clamd_scan>(peer_, timeout_, std::move(stop));
}

std::string clamd_engine::identity(stop_token stop)
{
    return probe(std::move(stop)).identity;
}

engine_state clamd_engine::probe(stop_token stop)
{
    std::string answer;
    std::string fault;
    try {
        timed_stream stream(timeout_, std::move(stop), std::chrono::steady_clock::now() + timeout_);
        stream.connect(peer_);
        if (stream.write("zVERSION\0"sv)) {
            answer = printable(read_reply(stream));
        }
        if (answer.empty()) {
            fault = "no version";
        }
    } catch (const std::exception& failure) {
        fault = failure.what();
    }
    // An engine that does not answer now keeps its last known identity.
    const std::lock_guard guard(lock_);
    if (fault.empty()) {
        identity_ = answer;
    }
    return {identity_, fault};
}

} // namespace service
