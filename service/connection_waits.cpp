// What a connection expects of its peer, and in what time.

#include "service/connection.h"

#include <algorithm>
#include <string_view>

namespace service {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::string_view answer_begin = "ICAP/1.0 ";

} // namespace

/// Expects more of the request, and in time.
void connection::expect_request()
{
    if (!reader_->started()) {
        expect_within(settings_->options.idle_timeout, &connection::peer_stalls);
        return;
    }
    const auto part = reader_->reads_body() ? sending_pace::part::body : sending_pace::part::head;
    const auto now = sending_pace::clock::now();
    error_code ignored;
    const auto check = pace_.next_check(part, now, [&] { return socket_.available(ignored); });
    const auto stall = settings_->options.stall_timeout;
    if (!check) {
        end("the peer sends too slowly");
    } else if (stall.count() != 0 && stall < *check - now) {
        expect_within(stall, &connection::peer_stalls);
    } else if (*check != sending_pace::clock::time_point::max()) {
        expect_until(*check, &connection::expect_request);
    } else {
        expect_nothing();
    }
}

void connection::peer_ended()
{
    if (settings_->options.leave_timeout.count() != 0) {
        presence_pause_ = settings_->options.leave_timeout;
        verdict_due_ = due_;
        verdict_late_ = late_;
        check_presence();
    }
}

/// A peer that has only ended its sending still takes its answer. One that has closed the connection looks the same
/// until it is sent something, which its system refuses. Therefore the bytes that all answers begin with are sent, one
/// at a time: the refusal of one shows with the next.
void connection::check_presence()
{
    const auto now = clock::now();
    if (now >= verdict_due_) {
        (this->*verdict_late_)();
        return;
    }
    error_code error;
    const std::string_view next = answer_begin.substr(sent_ahead_, 1);
    const std::size_t sent = next.empty() ? 0 : socket_.write_some(asio::buffer(next), error);
    if (error && !must_wait(error)) {
        peer_has_gone();
        return;
    }
    sent_ahead_ += sent;
    services_.metrics.bytes_sent.add(sent);
    expect_until(std::min(now + presence_pause_, verdict_due_), &connection::check_presence);
    presence_pause_ *= 2;
}

void connection::expect_within(std::chrono::milliseconds limit, expiry_handler late)
{
    if (limit.count() == 0) {
        expect_nothing();
    } else {
        expect_until(clock::now() + limit, late);
    }
}

/// Nearly everything happens in time. The timer is therefore not set anew for a later time: it expires early, and is
/// set for the rest then.
void connection::expect_until(clock::time_point due, expiry_handler late)
{
    late_ = late;
    due_ = due;
    if (due_ < armed_) {
        arm_timer();
    }
}

void connection::arm_timer()
{
    armed_ = due_;
    timer_.expires_at(due_);
    timer_.async_wait([weak = weak_from_this()](const error_code& error) {
        const auto self = weak.lock();
        if (error || !self || self->closed_) {
            return;
        }
        self->armed_ = clock::time_point::max();
        if (self->due_ <= clock::now()) {
            self->expect_nothing();
            (self.get()->*self->late_)();
        } else if (self->due_ != clock::time_point::max()) {
            self->arm_timer();
        }
    });
}

void connection::expect_nothing()
{
    due_ = clock::time_point::max();
}

} // namespace service
