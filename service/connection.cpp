#include "service/connection.h"

#include "service/bad_request.h"
#include "service/log.h"
#include "service/safe_text.h"

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/execution/outstanding_work.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/prefer.hpp>
#include <boost/asio/write.hpp>

#include <array>
#include <exception>
#include <string_view>
#include <utility>

namespace service {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::size_t block_size = 16384;
constexpr std::size_t write_size = 65536;
constexpr std::string_view end_mark_of_nothing = "0\r\n\r\n0\r\n\r\n";
constexpr std::uint32_t continue_status = 100;
constexpr std::uint32_t not_found = 404;
constexpr std::uint32_t unavailable = 503;

/// Returns the memory of an empty text to the system.
void release(std::string& text)
{
    std::string().swap(text);
}

} // namespace

connection::connection(asio::ip::tcp::socket peer, connection_services& services, end_handler ended)
    : socket_(std::move(peer))
    , strand_(asio::make_strand(socket_.get_executor()))
    , timer_(strand_)
    , services_(services)
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
    services_.idle.leave(idle_place_);
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
    asio::dispatch(strand_, [self = shared_from_this()] {
        self->begin_request(false);
        self->advance();
    });
}

void connection::refuse()
{
    asio::dispatch(strand_, [self = shared_from_this()] {
        LOG_LINE(service_log(), 200, "connection(" << self.get() << ") refused: too many connections");
        self->answer(self->services_.replies.bare(self->services_.tag.current(), unavailable, true),
                     after_write::close);
    });
}

void connection::close()
{
    asio::post(strand_, [self = shared_from_this()] { self->end("the server stops"); });
}

void connection::give_way(std::function<void(bool)> decided)
{
    asio::post(strand_, [self = shared_from_this(), decided = std::move(decided)] {
        error_code error;
        const bool begun = self->idle_place_ == 0 || self->socket_.available(error) != 0;
        if (!self->closed_ && begun) {
            self->idle_place_ = 0; // no longer in the list
            decided(false);
            return;
        }
        self->end("another connection needs its place");
        decided(true);
    });
}

/// A connection that stays idle keeps its place.
void connection::list_as_idle(bool idle)
{
    if (!idle) {
        services_.idle.leave(std::exchange(idle_place_, 0));
    } else if (idle_place_ == 0) {
        idle_place_ = services_.idle.enter(weak_from_this());
    }
}

void connection::begin_request(bool end_mark_may_lead)
{
    const request_reader::limits bounds{services_.settings.max_body, services_.settings.max_preview};
    reader_.emplace(bounds, end_mark_may_lead);
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
            answer(services_.replies.bare(services_.tag.current(), continue_status), after_write::behind_preview);
            break;
        case progress::complete:
            judge();
            break;
        }
    } catch (const bad_request& problem) {
        answer_bad_request(problem.what(), problem.status());
    } catch (const std::exception& problem) {
        answer_bad_request(problem.what(), server_error);
    }
}

void connection::read_more()
{
    const bool started = reader_->started();
    list_as_idle(!started);
    if (!started && inbox_.empty()) {
        release(inbox_);
    }
    expect_within(started ? services_.settings.stall_timeout : services_.settings.idle_timeout);
    // The wait needs no buffer, unlike a pending read.
    socket_.async_wait(asio::socket_base::wait_read,
                       asio::bind_executor(strand_, [self = shared_from_this()](const error_code&) {
                           if (!self->closed_) {
                               self->receive();
                           }
                       }));
}

void connection::receive()
{
    std::array<char, block_size> block;
    error_code error;
    const std::size_t count = socket_.read_some(asio::buffer(block), error);
    if (error == asio::error::would_block || error == asio::error::try_again) {
        read_more();
    } else if (error) {
        end("the peer has gone");
    } else {
        inbox_.append(block.data(), count);
        advance();
    }
}

void connection::judge()
{
    list_as_idle(false);
    expect_nothing();
    // Keeps the server's threads running until the verdict is available, even if the peer disconnects.
    auto work = asio::prefer(socket_.get_executor(), asio::execution::outstanding_work.tracked);
    asio::post(services_.scanners, [self = shared_from_this(), work = std::move(work)] {
        reply_maker::reply reply;
        try {
            reply = self->make_reply();
        } catch (const std::exception& problem) {
            LOG_LINE(service_log(), 200, "connection(" << self.get() << ") failed: " << problem.what());
        }
        asio::post(self->strand_, [self, made = std::make_shared<reply_maker::reply>(std::move(reply))] {
            self->judged(std::move(*made));
        });
    });
}

/// Makes the response to the request that was read. Runs on a scanner thread.
reply_maker::reply connection::make_reply()
{
    icap::request_message& request = *reader_->request();
    if (request.uri_path() != services_.path) {
        return services_.replies.bare(services_.tag.current(), not_found);
    }
    if (request.method() == icap::request_method::options) {
        return services_.replies.options(services_.tag.refresh());
    }
    http::message& object = reader_->object();
    const std::string name = object_name(*reader_);
    verdict outcome = scan(*services_.engine, {name, object.body_size()}, object.body(), services_.stop);
    if (const auto* failure = std::get_if<error_verdict>(&outcome)) {
        LOG_LINE(service_log(), 200,
                 "connection(" << this << ") could not judge '" << display_text(name)
                               << "': " << display_text(failure->why));
    } else if (const auto* found = std::get_if<blocked_verdict>(&outcome)) {
        LOG_LINE(service_log(), 300,
                 "connection(" << this << ") blocked '" << display_text(name) << "': " << display_text(found->threat));
    } else if (const auto* repaired = std::get_if<repaired_verdict>(&outcome)) {
        LOG_LINE(service_log(), 300,
                 "connection(" << this << ") repaired '" << display_text(name)
                               << "': " << display_text(repaired->threat));
    }
    return services_.replies.judged(services_.tag.current(), *reader_, std::move(outcome), name);
}

void connection::judged(reply_maker::reply reply)
{
    if (closed_) {
        return;
    }
    if (!reply) {
        answer_bad_request("the request could not be served", server_error);
        return;
    }
    const bool close = reader_->request()->connection_close();
    try {
        answer(std::move(reply), close ? after_write::close : after_write::next_request);
    } catch (const std::exception& problem) {
        answer_bad_request(problem.what(), server_error);
    }
}

void connection::answer_bad_request(const std::string& why, std::uint32_t status)
{
    LOG_LINE(service_log(), 200, "connection(" << this << ") answers " << status << ": " << why);
    try {
        answer(services_.replies.bare(services_.tag.current(), status, true), after_write::close);
    } catch (const std::exception&) {
        end("no answer could be made");
    }
}

void connection::answer(reply_maker::reply reply, after_write next)
{
    if (closed_) {
        return;
    }
    list_as_idle(false);
    reply_ = std::move(reply);
    packets_ = reply_->reader();
    next_ = next;
    write_more();
}

void connection::write_more()
{
    outbox_.clear();
    try {
        const bool bodiless = reply_->encapsulated().null_body != 0;
        http::byte_vector bytes;
        icap::packet piece{&bytes};
        while (outbox_.size() < write_size && packets_->read(piece)) {
            const std::string_view text(bytes.data(), bytes.size());
            // The packets of an HTTP response end with this mark even if Encapsulated specifies that there is no body.
            // The peer would read it as the beginning of the next response.
            if (!bodiless || text != end_mark_of_nothing) {
                outbox_.append(text);
            }
        }
    } catch (const std::exception& problem) {
        LOG_LINE(service_log(), 200, "connection(" << this << ") could not answer: " << problem.what());
        end("the answer broke off");
        return;
    }
    if (outbox_.empty()) {
        written();
        return;
    }
    expect_within(services_.settings.stall_timeout);
    asio::async_write(socket_, asio::buffer(outbox_),
                      asio::bind_executor(strand_, [self = shared_from_this()](const error_code& error, std::size_t) {
                          if (error) {
                              self->end("the peer takes no answer");
                          } else {
                              self->write_more();
                          }
                      }));
}

void connection::written()
{
    packets_.reset();
    reply_.reset();
    release(outbox_);
    if (next_ == after_write::close) {
        linger();
        return;
    }
    try {
        if (next_ == after_write::behind_preview) {
            reader_->continue_behind_preview();
        } else {
            begin_request(reader_->ended_early());
        }
    } catch (const std::exception& problem) {
        end(problem.what());
        return;
    }
    advance();
}

void connection::linger()
{
    error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    if (services_.settings.linger_timeout.count() == 0) {
        end("the answer was the last");
        return;
    }
    expect_within(services_.settings.linger_timeout);
    drop_what_comes();
}

void connection::drop_what_comes()
{
    socket_.async_wait(asio::socket_base::wait_read,
                       asio::bind_executor(strand_, [self = shared_from_this()](const error_code&) {
                           std::array<char, block_size> block;
                           error_code error;
                           (void)self->socket_.read_some(asio::buffer(block), error);
                           if (error && error != asio::error::would_block && error != asio::error::try_again) {
                               self->end("the answer was the last");
                           } else {
                               self->drop_what_comes();
                           }
                       }));
}

void connection::expect_within(std::chrono::milliseconds limit)
{
    expect_nothing();
    if (limit.count() == 0) {
        return;
    }
    timer_.expires_after(limit);
    timer_.async_wait([weak = weak_from_this()](const error_code& error) {
        const auto self = weak.lock();
        if (!error && self && self->timer_.expiry() <= asio::steady_timer::clock_type::now()) {
            self->end("the peer stalls");
        }
    });
}

/// A wait that has expired but whose handler has not run yet cannot be cancelled. Its handler sees the new expiry.
void connection::expect_nothing()
{
    timer_.expires_at(asio::steady_timer::time_point::max());
}

void connection::end(const char* why)
{
    if (closed_) {
        return;
    }
    closed_ = true;
    LOG_LINE(service_log(), 500, "connection(" << this << ") closes: " << why);
    expect_nothing();
    error_code ignored;
    socket_.cancel(ignored); // on some systems close does not end a blocked send
    socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
    list_as_idle(false);
    report_end();
}

} // namespace service
