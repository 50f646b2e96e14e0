#include "service/connection.h"

#include "service/bad_request.h"
#include "service/log.h"

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

namespace service {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::size_t block_size = 65536;
constexpr std::size_t most_ahead = 4096; ///< bytes of further requests that are read while a verdict is awaited
constexpr std::uint32_t continue_status = 100;

/// Returns the memory of an empty text to the system.
void release(std::string& text)
{
    std::string().swap(text);
}

} // namespace

connection::connection(socket peer, connection_services& services, end_handler ended)
    : socket_(std::move(peer))
    , timer_(socket_.get_executor())
    , services_(services)
    , settings_(services.settings.get())
    , pace_(settings_->options)
    , ended_(std::move(ended))
{
    error_code ignored;
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    socket_.non_blocking(true, ignored);
    LOG_LINE(service_log(), 500, "connection(" << this << ") accepted");
}

connection::~connection()
{
    LOG_LINE(service_log(), 500, "connection(" << this << ") ended");
    list_among(nullptr);
    report_end();
}

void connection::report_end()
{
    if (ended_) {
        std::exchange(ended_, nullptr)();
    }
}

void connection::start()
{
    asio::dispatch(socket_.get_executor(), [self = shared_from_this()] {
        self->begin_request();
        self->advance();
    });
}

void connection::refuse()
{
    asio::dispatch(socket_.get_executor(), [self = shared_from_this()] {
        LOG_LINE(service_log(), 200, "connection(" << self.get() << ") refused: too many connections");
        self->count(request_result::refused);
        self->answer(self->settings_->replies.bare(self->settings_->tag(), unavailable, true), after_write::close);
    });
}

void connection::close()
{
    asio::post(socket_.get_executor(), [self = shared_from_this()] { self->end("the server stops"); });
}

void connection::settings_changed()
{
    asio::post(socket_.get_executor(), [self = shared_from_this()] {
        if (!self->closed_ && self->waits_for_request() && !self->services_.settings.is_current(self->settings_)) {
            self->begin_request();
            self->expect_request();
        }
    });
}

void connection::give_way(std::function<void(bool)> decided)
{
    asio::post(socket_.get_executor(), [self = shared_from_this(), decided = std::move(decided)] {
        error_code error;
        const bool goes_on = self->list_ == nullptr || self->socket_.available(error) != 0;
        if (!self->closed_ && goes_on) {
            self->list_ = nullptr; // from which it was taken
            decided(false);
            return;
        }
        self->end("another connection needs its place");
        decided(true);
    });
}

/// A connection that stays in a list keeps its place.
void connection::list_among(waiting_connections* list)
{
    if (list == list_) {
        return;
    }
    if (list_ != nullptr) {
        list_->leave(place_);
    }
    list_ = list;
    if (list_ != nullptr) {
        place_ = list_->enter(weak_from_this());
    }
}

void connection::begin_request()
{
    if (!services_.settings.is_current(settings_)) {
        settings_ = services_.settings.get();
        pace_.follow(settings_->options);
    }
    const request_reader::limits bounds{settings_->options.max_body, settings_->options.max_preview, &services_.bodies};
    reader_ = std::make_unique<request_reader>(bounds, end_mark_may_lead_,
                                               [this](std::uint64_t size) { return scan_early(size); });
    pace_.restart();
    kind_ = request_kind::unknown;
    counted_ = false;
}

std::unique_ptr<early_scan> connection::scan_early(std::uint64_t size) const
{
    if (!settings_->engine->engine->is_quick(size)) {
        return nullptr;
    }
    return std::make_unique<early_scan>(settings_->engine->engine->begin({{}, size}, {}));
}

/// Processes the bytes received so far, until more input is needed or a response is due.
void connection::advance()
{
    try {
        switch (reader_->read(inbox_)) {
        case progress::need_more:
            read_more();
            break;
        case progress::preview_ended:
            answer(settings_->replies.bare(settings_->tag(), continue_status), after_write::behind_preview);
            break;
        case progress::complete:
            respond();
            break;
        }
    } catch (const bad_request& problem) {
        answer_unread(problem.what(), problem.status(), problem.level());
    } catch (const std::exception& problem) {
        answer_unread(problem.what(), server_error);
    }
}

void connection::read_more()
{
    phase_ = phase::request;
    if (reader_->reads_body()) {
        list_among(nullptr);
    } else {
        list_among(reader_->started() ? &services_.heads : &services_.idle);
    }
    if (inbox_.empty()) {
        release(inbox_);
    }
    expect_request();
    if (!closed_) {
        await_input();
    }
}

/// The wait needs no buffer, unlike a pending read.
void connection::await_input()
{
    if (reads_on_) {
        input_wanted_ = true;
        return;
    }
    if (input_awaited_) {
        return;
    }
    input_awaited_ = true;
    socket_.async_wait(asio::socket_base::wait_read, [self = shared_from_this()](const error_code&) {
        self->input_awaited_ = false;
        if (!self->closed_) {
            self->input_arrived();
        }
    });
}

void connection::input_arrived()
{
    switch (phase_) {
    case phase::request:
        receive_request();
        break;
    case phase::verdict:
        (void)receive();
        break;
    case phase::write:
        break; // is read once the response has been written
    case phase::end:
        drop_what_comes();
        break;
    }
}

/// An object that has arrived takes the fewest steps, and room for the shortest time, if it is read at once. The bound
/// lets the other connections of this thread have their turn.
void connection::receive_request()
{
    constexpr int most_blocks = 16;
    reads_on_ = true;
    bool more = true;
    for (int block = 0; more && block < most_blocks; ++block) {
        input_wanted_ = false;
        const bool full = receive();
        more = full && input_wanted_ && phase_ == phase::request;
    }
    reads_on_ = false;
    if (input_wanted_) {
        await_input();
    }
}

/// Returns true if there may be more to receive.
bool connection::receive()
{
    const bool for_request = phase_ == phase::request;
    const std::size_t room = for_request ? block_size : most_ahead - std::min(most_ahead, inbox_.size());
    if (room == 0) {
        return false;
    }
    if (waits_for_request() && !services_.settings.is_current(settings_)) {
        begin_request();
    }
    std::array<char, block_size> block;
    error_code error;
    const std::size_t count = socket_.read_some(asio::buffer(block.data(), room), error);
    if (error == asio::error::eof && !for_request) {
        peer_ended();
    } else if (error && !must_wait(error)) {
        peer_has_gone();
    } else {
        inbox_.append(block.data(), count);
        services_.metrics.bytes_received.add(count);
        pace_.count(count);
        if (for_request && count != 0) {
            advance();
        } else {
            await_input();
        }
    }
    return count == block_size;
}

void connection::linger()
{
    phase_ = phase::end;
    reader_.reset();
    error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    if (settings_->options.linger_timeout.count() == 0) {
        end("the answer was the last");
        return;
    }
    expect_within(settings_->options.linger_timeout, &connection::peer_stalls);
    await_input();
}

void connection::drop_what_comes()
{
    std::array<char, block_size> block;
    error_code error;
    (void)socket_.read_some(asio::buffer(block), error);
    if (error && !must_wait(error)) {
        end("the answer was the last");
    } else {
        await_input();
    }
}

bool connection::must_wait(const error_code& error)
{
    return error == asio::error::would_block || error == asio::error::try_again;
}

void connection::end(const char* why)
{
    if (closed_) {
        return;
    }
    closed_ = true;
    if (phase_ == phase::verdict || (reader_ && reader_->started())) {
        count(request_result::abandoned);
    }
    LOG_LINE(service_log(), 500, "connection(" << this << ") closes: " << why);
    abandon();
    expect_nothing();
    error_code ignored;
    timer_.cancel();
    socket_.cancel(ignored); // on some systems close does not end a blocked send
    socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
    list_among(nullptr);
    report_end();
}

} // namespace service
