#include "service/engine/icap_exchange.h"

#include "service/engine/icap_findings.h"
#include "tool/web/body_store.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

namespace service {

namespace {

constexpr std::size_t sent_piece = 65536;
constexpr std::size_t longest_name = 600;

std::string chunk_line(std::size_t size)
{
    std::array<char, 16> digits;
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), size, 16);
    return std::string(digits.data(), written.ptr) + "\r\n";
}

/// The end of a name is the part that the server may judge by.
std::string_view end_of(std::string_view name)
{
    return name.substr(name.size() - std::min(name.size(), longest_name));
}

} // namespace

icap_exchange::icap_exchange(timed_stream& stream, const icap_url& url, std::optional<std::size_t> preview,
                             const object_info& info, web::io_data& object)
    : stream_(stream)
    , url_(url)
    , object_(object)
    , size_(object.size())
    , preview_(preview ? std::optional(std::min(*preview, longest_preview)) : std::nullopt)
    , path_(percent_encoded(end_of(info.name)))
    , piece_(sent_piece)
{}

verdict icap_exchange::run()
{
    try {
        verdict outcome = exchange();
        discard_rest();
        return outcome;
    } catch (const std::exception&) {
        // A report is believed without the rest of the answer.
        if (const auto found = threat()) {
            return blocked_verdict{*found};
        }
        throw;
    }
}

verdict icap_exchange::exchange()
{
    send_request();
    if (preview_) {
        send_preview();
        read_answer();
        if (answer_.head().status != icap_status::go_on) {
            return conclusion();
        }
        if (stopped_ || size_ <= *preview_) {
            throw std::runtime_error("answer not understood: 100 without a preview that it continues");
        }
        continued_ = true;
        const std::string early = answer_.surplus(); // the final answer may begin at once
        answer_ = {};
        answer_.feed(early, *this);
    }
    send_rest();
    read_answer();
    if (answer_.head().status == icap_status::go_on) {
        throw std::runtime_error("answer not understood: 100 without a preview that it continues");
    }
    return conclusion();
}

void icap_exchange::send_request()
{
    const std::string request_head = "GET http://postwarden.invalid/" + path_ +
                                     " HTTP/1.1\r\n"
                                     "Host: postwarden.invalid\r\n\r\n";
    const std::string response_head = "HTTP/1.1 200 OK\r\n"
                                      "Content-Type: application/octet-stream\r\n"
                                      "Content-Length: " +
                                      std::to_string(size_) + "\r\n\r\n";
    std::string text = "RESPMOD " + url_.text() +
                       " ICAP/1.0\r\n"
                       "Host: " +
                       url_.authority() +
                       "\r\n"
                       "User-Agent: postwarden-service\r\n"
                       "Allow: 204\r\n";
    if (preview_) {
        text += "Preview: " + std::to_string(*preview_) + "\r\n";
    }
    text += "Encapsulated: req-hdr=0, res-hdr=" + std::to_string(request_head.size()) +
            ", res-body=" + std::to_string(request_head.size() + response_head.size()) + "\r\n\r\n";
    send(text + request_head + response_head);
}

void icap_exchange::send_preview()
{
    const std::uint64_t ahead = std::min<std::uint64_t>(size_, *preview_);
    send_chunks(0, ahead);
    send(ahead == size_ ? "0; ieof\r\n\r\n" : "0\r\n\r\n");
}

void icap_exchange::send_rest()
{
    send_chunks(preview_ ? *preview_ : 0, size_);
    send("0\r\n\r\n");
}

void icap_exchange::send_chunks(std::uint64_t begin, std::uint64_t end)
{
    std::string chunk;
    while (begin < end && !stopped_) {
        const std::uint64_t count =
            object_.read(begin, piece_.data(), std::min<std::uint64_t>(end - begin, sent_piece));
        if (count == 0) {
            throw std::runtime_error("the object's store ends before its size");
        }
        begin += count;
        chunk = chunk_line(static_cast<std::size_t>(count));
        chunk.append(piece_.data(), static_cast<std::size_t>(count)).append("\r\n");
        send(chunk);
    }
}

void icap_exchange::send(std::string_view bytes)
{
    if (stopped_ || decided()) {
        stopped_ = true;
        return;
    }
    stopped_ = !stream_.write_while_reading(bytes, [this](std::string_view arrived) {
        answer_.feed(arrived, *this);
        return !decided();
    });
}

/// Returns false if the server has ended the stream.
bool icap_exchange::read_more()
{
    std::array<char, 16384> bytes;
    const std::size_t count = stream_.read_some(bytes.data(), bytes.size());
    answer_.feed({bytes.data(), count}, *this);
    return count != 0;
}

void icap_exchange::read_answer()
{
    while (!decided()) {
        if (read_more()) {
            continue;
        }
        if (!answered()) {
            throw connection_lost("connection closed without an answer");
        }
        throw std::runtime_error("connection closed within the answer");
    }
}

/// The rest of an answer that has been judged is read only if it is short and comes soon.
void icap_exchange::discard_rest()
{
    stream_.end_by(std::chrono::steady_clock::now() + discard_time);
    try {
        while (!stopped_ && !answer_.complete() && discarded_ <= most_discarded && read_more()) {
        }
    } catch (const std::exception&) {
        stopped_ = true; // the connection is of no more use
    }
}

bool icap_exchange::keeps_connection() const
{
    return !stopped_ && answer_.keeps_connection();
}

/// Returns true if no further byte of the answer changes the verdict.
bool icap_exchange::decided() const
{
    if (answer_.complete()) {
        return true;
    }
    if (!answer_.has_heads()) {
        return false;
    }
    if (threat()) {
        return !is_repair();
    }
    const auto& http = answer_.http();
    return answer_.head().status != icap_status::ok || !answer_.parts().is_response || !same_ ||
           (http && http->status != icap_status::ok);
}

std::optional<std::string> icap_exchange::threat() const
{
    if (!answer_.has_head() || answer_.head().status == icap_status::go_on) {
        return std::nullopt;
    }
    auto found = reported_threat(answer_.head());
    if (!found && answer_.has_heads() && answer_.http()) {
        found = reported_threat(*answer_.http());
    }
    return found;
}

bool icap_exchange::is_repair() const
{
    const auto& http = answer_.http();
    return answer_.has_heads() && answer_.head().status == icap_status::ok && reports_repair(answer_.head()) &&
           answer_.parts().is_response && answer_.parts().has_body && (!http || http->status == icap_status::ok);
}

void icap_exchange::receive(std::string_view bytes)
{
    if (threat()) {
        if (is_repair()) {
            keep_repaired(bytes);
        } else {
            discarded_ += bytes.size();
        }
    } else if (decided()) {
        discarded_ += bytes.size();
    } else {
        compare(bytes);
    }
}

void icap_exchange::compare(std::string_view bytes)
{
    std::array<char, 4096> original;
    while (same_ && !bytes.empty()) {
        const auto count =
            static_cast<std::size_t>(object_.read(compared_, original.data(), std::min(bytes.size(), original.size())));
        same_ = count != 0 && std::memcmp(original.data(), bytes.data(), count) == 0;
        bytes.remove_prefix(count);
        compared_ += count;
    }
}

void icap_exchange::keep_repaired(std::string_view bytes)
{
    if (!repaired_) {
        repaired_ = web::make_body_store(size_ + most_growth); // a store in memory does not grow
    }
    if (repaired_->size() + bytes.size() > size_ + most_growth ||
        repaired_->append(bytes.data(), bytes.size()) != bytes.size()) {
        throw std::runtime_error("the repaired object is too large");
    }
}

verdict icap_exchange::conclusion()
{
    if (const auto found = threat()) {
        if (!is_repair()) {
            return blocked_verdict{*found};
        }
        return repaired_verdict{*found, repaired_ ? std::move(repaired_) : web::make_body_store(0)};
    }
    switch (answer_.head().status) {
    case icap_status::ok:
        return conclusion_of_object();
    case icap_status::no_content:
        break;
    case icap_status::too_large:
        return unchecked_verdict{url_.host + ": the object is too large"};
    default:
        return error_verdict{url_.host + " answered with status " + std::to_string(answer_.head().status)};
    }
    if (stopped_) {
        return unchecked_verdict{url_.host + " answered before the end of the object"};
    }
    return clean_verdict{};
}

verdict icap_exchange::conclusion_of_object()
{
    const auto& http = answer_.http();
    if (!answer_.has_parts() || !answer_.parts().is_response) {
        return error_verdict{"answer not understood: 200 without an object"};
    }
    if (http && http->status >= icap_status::first_redirection) {
        return blocked_verdict{"blocked by " + url_.host};
    }
    if (!same_ || compared_ != size_ || (http && http->status != icap_status::ok)) {
        return blocked_verdict{"replaced by " + url_.host};
    }
    if (stopped_) {
        return unchecked_verdict{url_.host + " answered before the end of the object"};
    }
    return clean_verdict{};
}

} // namespace service
