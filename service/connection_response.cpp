#include "service/connection.h"
#include "service/log.h"

#include <boost/asio/execution/outstanding_work.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/prefer.hpp>
#include <boost/asio/write.hpp>

#include <exception>
#include <optional>
#include <string_view>
#include <utility>

namespace service {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::size_t write_size = 65536;
constexpr std::string_view end_mark_of_nothing = "0\r\n\r\n0\r\n\r\n";
constexpr std::uint32_t not_found = 404;

/// Returns true for the question of a client whether the service is there. It has no object.
bool is_health_question(icap::request_message& request)
{
    return request.encapsulated().null_body != 0 && request.headers().get("X-Health-Test") != nullptr;
}

request_kind kind_of(icap::request_message& request)
{
    if (request.method() == icap::request_method::options) {
        return request_kind::options;
    }
    if (is_health_question(request)) {
        return request_kind::health;
    }
    return request.method() == icap::request_method::reqmod ? request_kind::reqmod : request_kind::respmod;
}

} // namespace

/// Everything that needs no scanner is answered without waiting for one.
void connection::respond()
{
    list_among(nullptr);
    expect_nothing();
    phase_ = phase::verdict;
    icap::request_message& request = *reader_->request();
    kind_ = kind_of(request);
    close_after_ = request.connection_close();
    end_mark_may_lead_ = reader_->ended_early();
    if (reader_->path() != services_.path) {
        count(request_result::not_found);
        answer_request(settings_->replies.bare(settings_->tag(), not_found));
    } else if (kind_ == request_kind::options || kind_ == request_kind::health) {
        await_probe();
    } else {
        judge();
    }
}

void connection::judge()
{
    if (settings_->engine->engine->is_quick(reader_->object().body_size())) {
        judge_at_once();
        return;
    }
    // Keeps the server's threads running until the verdict is available, even if the peer disconnects.
    auto work = asio::prefer(socket_.get_executor(), asio::execution::outstanding_work.tracked);
    auto done = [self = shared_from_this(), turn = ++turn_, work = std::move(work)](reply_maker::reply reply,
                                                                                    judgement::request request) {
        // Handlers must be copyable.
        asio::post(self->socket_.get_executor(),
                   [self, turn, reply = std::make_shared<reply_maker::reply>(std::move(reply)),
                    request = std::make_shared<judgement::request>(std::move(request))] {
                       self->judged(turn, std::move(*reply), std::move(*request));
                   });
    };
    judgement_ = std::make_shared<judgement>(std::move(reader_), services_, settings_, this, std::move(done));
    scan_place_ = services_.scanners.submit(judgement_);
    expect_within(settings_->options.scan_timeout, &connection::scan_takes_too_long);
    await_input();
}

/// Judges the object on this thread: another one would take longer to wake than the engine needs.
void connection::judge_at_once()
{
    reply_maker::reply reply;
    judgement judging(std::move(reader_), services_, settings_, this,
                      [&](reply_maker::reply made, judgement::request request) {
                          reply = std::move(made);
                          reader_ = std::move(request);
                      });
    judging.run();
    if (reply) {
        count(judging.result());
        answer_request(std::move(reply));
    } else {
        answer_bad_request("the request could not be served", server_error);
    }
}

void connection::judged(std::uint64_t turn, reply_maker::reply reply, judgement::request request)
{
    if (closed_ || turn != turn_) {
        return; // nobody waits for this verdict any more
    }
    const request_result result = std::exchange(judgement_, nullptr)->result();
    reader_ = std::move(request);
    if (!reply) {
        answer_bad_request("the request could not be served", server_error);
        return;
    }
    count(result);
    answer_request(std::move(reply));
}

void connection::count(request_result result)
{
    if (kind_ == request_kind::unknown && reader_ && reader_->request() != nullptr) {
        kind_ = kind_of(*reader_->request());
    }
    if (!std::exchange(counted_, true)) {
        services_.metrics.count(kind_, result);
    }
}

/// Gives up the object that is being judged, if there is one.
void connection::abandon()
{
    ++turn_;
    if (judgement_) {
        services_.scanners.withdraw(scan_place_);
        judgement_->abandon();
        judgement_.reset();
    }
}

void connection::scan_takes_too_long()
{
    const std::string name = judgement_->name();
    abandon();
    count(request_result::timeout);
    log_verdict(this, name,
                error_verdict{"no verdict within " + std::to_string(settings_->options.scan_timeout.count()) + " ms"});
    if (const auto why = settings_->options.policy.withhold_late()) {
        log_withheld(this, name, *why);
        answer_withheld(*why, name, close_after_);
    } else {
        answer_request(settings_->replies.bare(settings_->tag(), server_error));
    }
}

void connection::await_probe()
{
    expect_within(engine_watch::patience, &connection::probed);
    await_input();
    settings_->engine->watch.refresh([weak = weak_from_this(), turn = ++turn_] {
        if (const auto self = weak.lock()) {
            asio::post(self->socket_.get_executor(), [self, turn] {
                if (!self->closed_ && turn == self->turn_) {
                    self->probed();
                }
            });
        }
    });
}

/// The probe has ended, or takes so long that the state that is known must do.
void connection::probed()
{
    ++turn_;
    try {
        const bool options = kind_ == request_kind::options;
        if (options) {
            count(request_result::answered);
        }
        answer_request(options ? settings_->replies.options(settings_->tag()) : health());
    } catch (const std::exception& problem) {
        answer_bad_request(problem.what(), server_error);
    }
}

reply_maker::reply connection::health()
{
    const std::string name = object_name(*reader_);
    verdict outcome = clean_verdict{};
    if (std::string fault = settings_->engine->tag.state().fault; !fault.empty()) {
        outcome = error_verdict{std::move(fault)};
    }
    log_verdict(this, name, outcome);
    count(result_of(outcome));
    return settings_->replies.judged(settings_->tag(), *reader_, std::move(outcome), name);
}

void connection::answer_request(reply_maker::reply reply)
{
    try {
        answer(std::move(reply), close_after_ ? after_write::close : after_write::next_request);
    } catch (const std::exception& problem) {
        answer_bad_request(problem.what(), server_error);
    }
}

/// A request that was not read to its end. What follows of it is not read.
void connection::answer_unread(const std::string& reason, std::uint32_t status, std::uint32_t level)
{
    icap::request_message* const request = reader_ ? reader_->request() : nullptr;
    const bool has_object = request != nullptr && request->method() != icap::request_method::options &&
                            request->encapsulated().null_body == 0;
    const auto why = has_object ? settings_->options.policy.withhold_unread(status) : std::nullopt;
    if (!why) {
        answer_bad_request(reason, status, level);
        return;
    }
    try {
        const std::string name = object_name(*reader_);
        LOG_LINE(service_log(), level, "connection(" << this << ") does not read an object to its end: " << reason);
        log_withheld(this, name, *why);
        count(*why == cause::no_engine ? request_result::error : request_result::unchecked);
        reader_.reset(); // as for other requests that are not read to their end
        answer_withheld(*why, name, true);
    } catch (const std::exception& problem) {
        answer_bad_request(problem.what(), server_error);
    }
}

void connection::answer_withheld(cause why, const std::string& name, bool close)
{
    try {
        answer(settings_->replies.withheld(settings_->tag(), why, name, close),
               close ? after_write::close : after_write::next_request);
    } catch (const std::exception& problem) {
        answer_bad_request(problem.what(), server_error);
    }
}

void connection::answer_bad_request(const std::string& why, std::uint32_t status, std::uint32_t level)
{
    LOG_LINE(service_log(), level, "connection(" << this << ") answers " << status << ": " << why);
    count(status == unavailable   ? request_result::refused
          : status < server_error ? request_result::bad_request
                                  : request_result::error);
    reader_.reset(); // what remains of its object is not needed while the peer takes the answer
    try {
        answer(settings_->replies.bare(settings_->tag(), status, true), after_write::close);
    } catch (const std::exception&) {
        end("no answer could be made");
    }
}

void connection::answer(reply_maker::reply reply, after_write next)
{
    if (closed_) {
        return;
    }
    list_among(nullptr);
    expect_nothing(); // of the verdict
    phase_ = phase::write;
    reply_ = std::move(reply);
    packets_ = reply_.message() != nullptr ? reply_.message()->reader() : nullptr;
    next_ = next;
    write_more();
}

void connection::write_more()
{
    for (;;) {
        if (!fill_outbox()) {
            return;
        }
        if (outbox_.empty()) {
            written();
            return;
        }
        outbox_.erase(0, std::exchange(sent_ahead_, 0));
        const auto sent = send_at_once();
        if (!sent) {
            return;
        }
        if (*sent != outbox_.size()) {
            outbox_.erase(0, *sent);
            break;
        }
    }
    expect_within(settings_->options.stall_timeout, &connection::peer_stalls);
    asio::async_write(socket_, asio::buffer(outbox_),
                      [self = shared_from_this()](const error_code& error, std::size_t sent) {
                          self->services_.metrics.bytes_sent.add(sent);
                          if (error) {
                              self->end("the peer takes no answer");
                          } else {
                              self->write_more();
                          }
                      });
}

bool connection::fill_outbox()
{
    outbox_.clear();
    if (reply_.bytes() != nullptr) {
        outbox_ = *std::exchange(reply_, reply_maker::reply()).bytes();
        return true;
    }
    if (!packets_) {
        return true;
    }
    try {
        const bool bodiless = reply_.message()->encapsulated().null_body != 0;
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
        return true;
    } catch (const std::exception& problem) {
        LOG_LINE(service_log(), 200, "connection(" << this << ") could not answer: " << problem.what());
        end("the answer broke off");
        return false;
    }
}

std::optional<std::size_t> connection::send_at_once()
{
    std::size_t sent = 0;
    while (sent < outbox_.size()) {
        error_code error;
        sent += socket_.write_some(asio::buffer(outbox_.data() + sent, outbox_.size() - sent), error);
        if (must_wait(error)) {
            break;
        }
        if (error) {
            end("the peer takes no answer");
            return std::nullopt;
        }
    }
    services_.metrics.bytes_sent.add(sent);
    return sent;
}

void connection::written()
{
    packets_.reset();
    reply_ = reply_maker::reply();
    std::string().swap(outbox_);
    if (next_ == after_write::close) {
        linger();
        return;
    }
    try {
        if (next_ == after_write::behind_preview) {
            reader_->continue_behind_preview();
            pace_.restart();
        } else {
            begin_request();
        }
    } catch (const std::exception& problem) {
        end(problem.what());
        return;
    }
    if (inbox_.empty()) {
        advance();
    } else {
        // A peer that has sent many requests ahead neither keeps the others waiting nor deepens the stack.
        asio::post(socket_.get_executor(), [self = shared_from_this()] {
            if (!self->closed_) {
                self->advance();
            }
        });
    }
}

} // namespace service
