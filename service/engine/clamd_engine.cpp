#include "service/engine/clamd_engine.h"

#include "service/engine/clamd_reply.h"

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

namespace service {

namespace {

/// Sends the object while it is read. If a kept session ends without a reply, the object is sent again in a new one.
class clamd_scan final : public object_scan
{
public:
    clamd_scan(clamd_engine& engine, stop_token stop)
        : engine_(engine)
        , stop_(std::move(stop))
        , place_(engine_.take_place(stop_))
        , session_(engine_.kept_session(stop_))
        , may_repeat_(session_ != nullptr)
    {
        if (!session_) {
            session_ = engine_.new_session(stop_);
        }
        session_->begin();
    }

    bool data(std::string_view piece) override { return session_->send(piece); }

    [[nodiscard]] verdict finish(web::io_data& object) override
    {
        try {
            return finish_session();
        } catch (const connection_lost&) {
            if (!may_repeat_) {
                throw;
            }
        }
        session_ = engine_.new_session(stop_);
        session_->begin();
        send_again(object);
        return finish_session();
    }

private:
    verdict finish_session()
    {
        verdict outcome = session_->finish();
        if (session_->is_sound()) {
            engine_.keep(std::move(session_));
        }
        return outcome;
    }

    void send_again(web::io_data& object)
    {
        constexpr std::size_t piece_size = 65536;
        std::string piece(piece_size, '\0');
        const std::uint64_t size = object.size();
        for (std::uint64_t offset = 0; offset < size;) {
            const std::uint64_t count =
                object.read(offset, piece.data(), std::min<std::uint64_t>(size - offset, piece_size));
            if (count == 0) {
                throw std::runtime_error("the object's store ends before its size");
            }
            offset += count;
            if (!session_->send({piece.data(), static_cast<std::size_t>(count)})) {
                break;
            }
        }
    }

    clamd_engine& engine_;
    stop_token stop_;
    std::unique_ptr<stream_places::place> place_;
    std::unique_ptr<clamd_session> session_;
    bool may_repeat_;
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

clamd_engine::clamd_engine(clamd_endpoint peer, std::chrono::milliseconds timeout, std::size_t streams)
    : peer_(std::move(peer))
    , timeout_(timeout)
    , places_(streams)
    , kept_([] { return std::chrono::steady_clock::now(); })
{}

std::string_view clamd_engine::name() const noexcept
{
    return "clamd";
}

std::unique_ptr<object_scan> clamd_engine::begin(const object_info& /*info*/, stop_token stop)
{
    return std::make_unique<clamd_scan>(*this, std::move(stop));
}

std::unique_ptr<stream_places::place> clamd_engine::take_place(const stop_token& stop)
{
    return places_.take(stop);
}

std::unique_ptr<clamd_session> clamd_engine::kept_session(const stop_token& stop)
{
    return kept_.take(stop);
}

std::unique_ptr<clamd_session> clamd_engine::new_session(const stop_token& stop)
{
    auto session = std::make_unique<clamd_session>(timeout_, stop);
    session->connect(peer_);
    return session;
}

void clamd_engine::keep(std::unique_ptr<clamd_session> session)
{
    kept_.keep(std::move(session));
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
        constexpr std::string_view command("zVERSION\0", 9);
        if (stream.write(command)) {
            answer = printable(read_clamd_text(stream));
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
    const std::string version = identity_ == name() ? std::string() : identity_;
    return {identity_, fault, {}, {}, {version, clamd_signatures_time(version)}};
}

} // namespace service
