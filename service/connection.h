#pragma once

#include "service/connection_services.h"
#include "service/judgement.h"
#include "service/sending_pace.h"

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace service {

/// One peer: reads requests, has their objects judged, and responds, one request at a time. Everything runs on the
/// thread of the I/O context that the socket belongs to, except the judging of an object that takes its time: that runs
/// on a scanner thread; meanwhile only a few bytes are read, to notice that the peer leaves. Pending operations keep
/// the object alive. The end of the connection is reported exactly once, when its socket is closed. While no request
/// has begun, the connection is listed as idle and holds no buffer; until the heads of a request have arrived, it is
/// listed as well.
class connection final : public std::enable_shared_from_this<connection>
{
public:
    using executor = boost::asio::io_context::executor_type;
    /// Its I/O context must be run by one thread only.
    using socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, executor>;
    using end_handler = std::function<void()>;

    connection(socket peer, connection_services& services, end_handler ended);
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;
    ~connection();

    void start();
    /// Responds with 503 and closes, because the server has reached its maximum number of connections.
    void refuse();
    /// Closes the connection. Thread-safe.
    void close();
    /// Applies other settings to the wait for a request, if no request has begun. Thread-safe.
    void settings_changed();
    /// Closes the connection, which was taken from those that wait, to make room for another, unless the peer has sent
    /// something meanwhile. Calls `decided` with true if it is closed. Thread-safe.
    void give_way(std::function<void(bool)> decided);

private:
    using clock = std::chrono::steady_clock;
    using timer = boost::asio::basic_waitable_timer<clock, boost::asio::wait_traits<clock>, executor>;
    using progress = request_reader::progress;
    using expiry_handler = void (connection::*)();
    /// What the connection is waiting for.
    enum class phase
    {
        request,
        verdict, ///< or a probe of the engine
        write,
        end
    };
    enum class after_write
    {
        next_request,
        behind_preview,
        close
    };

    void begin_request();
    /// Begins a scan while the object arrives, if the engine never waits.
    [[nodiscard]] std::unique_ptr<early_scan> scan_early(std::uint64_t size) const;
    void advance();
    void read_more();
    void expect_request();
    void await_input();
    void input_arrived();
    void receive_request();
    [[nodiscard]] bool receive();
    void drop_what_comes();
    void peer_ended();
    void check_presence();
    [[nodiscard]] bool waits_for_request() const { return phase_ == phase::request && reader_ && !reader_->started(); }
    /// Lists the connection among those that wait, or nowhere.
    void list_among(waiting_connections* list);
    void report_end();
    /// Obtains the response to the request that was read.
    void respond();
    void judge();
    void judge_at_once();
    void judged(std::uint64_t turn, reply_maker::reply reply, judgement::request request);
    void abandon();
    void scan_takes_too_long();
    void await_probe();
    void probed();
    [[nodiscard]] reply_maker::reply health();
    void answer_request(reply_maker::reply reply);
    void answer_unread(const std::string& reason, std::uint32_t status, std::uint32_t level = 200);
    void answer_withheld(cause why, const std::string& name, bool close);
    void answer_bad_request(const std::string& why, std::uint32_t status, std::uint32_t level = 200);
    void answer(reply_maker::reply reply, after_write next);
    void write_more();
    /// Reads the next bytes of the response into the outbox, which remains empty at its end. Returns false if the
    /// connection had to be ended.
    [[nodiscard]] bool fill_outbox();
    /// Sends as much of the outbox as the peer takes without a wait. Returns the number of bytes sent, or nothing if
    /// the connection had to be ended.
    [[nodiscard]] std::optional<std::size_t> send_at_once();
    void written();
    /// Shuts down sending, then waits for the peer to do the same.
    void linger();
    /// Call `late` unless one of these functions or expect_nothing() is called again in time. A limit of zero means
    /// none.
    void expect_within(std::chrono::milliseconds limit, expiry_handler late);
    void expect_until(clock::time_point due, expiry_handler late);
    void expect_nothing();
    void arm_timer();
    /// Returns true for the error of an operation that would have had to wait for the peer.
    [[nodiscard]] static bool must_wait(const boost::system::error_code& error);
    void peer_stalls() { end("the peer stalls"); }
    void peer_has_gone() { end("the peer has gone"); }
    /// Counts the request once.
    void count(request_result result);
    void end(const char* why);

    socket socket_;
    timer timer_;
    clock::time_point due_ = clock::time_point::max();   ///< when to call late_
    clock::time_point armed_ = clock::time_point::max(); ///< when the timer expires, which may be earlier
    expiry_handler late_ = nullptr;
    connection_services& services_;
    settings_pointer settings_; ///< of the request that has begun, or is awaited
    sending_pace pace_;
    end_handler ended_;
    std::string inbox_;
    std::unique_ptr<request_reader> reader_; ///< null while its object is being judged
    std::shared_ptr<judgement> judgement_;
    scan_queue::place scan_place_ = 0;
    std::uint64_t turn_ = 0; ///< counts the waits for verdicts and probes
    reply_maker::reply reply_;
    std::unique_ptr<icap::packet_reader> packets_; ///< reads from reply_; null for one that consists of bytes
    std::string outbox_;
    phase phase_ = phase::request;
    after_write next_ = after_write::next_request;
    bool end_mark_may_lead_ = false; ///< ahead of the next request
    request_kind kind_ = request_kind::unknown;
    bool counted_ = false;     ///< the request
    bool close_after_ = false; ///< the peer wants the connection to end after its response
    bool input_awaited_ = false;
    bool reads_on_ = false;                ///< what has arrived is read without another wait
    bool input_wanted_ = false;            ///< set by await_input() meanwhile
    waiting_connections* list_ = nullptr;  ///< which contains the connection, unless it was taken from there
    waiting_connections::place place_ = 0; ///< in list_
    bool closed_ = false;
    // Of a peer that has ended its sending while it waits for a verdict:
    std::size_t sent_ahead_ = 0;       ///< bytes of the answer that it has been sent
    clock::duration presence_pause_{}; ///< until the next of them
    clock::time_point verdict_due_;    ///< when to call verdict_late_
    expiry_handler verdict_late_ = nullptr;
};

} // namespace service
