#include "bench/icap_asking.h"

#include "bench/icap_load.h"
#include "bench/sink_peer.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/uio.h>
#include <system_error>
#include <unistd.h>

namespace bench {

namespace {

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

icap_request::icap_request(const icap_load& load, std::size_t object)
    : object_size(object)
{
    constexpr std::size_t most_bytes = std::size_t{1} << 31U;
    if (object < serial_size || object > most_bytes || load.chunk_size < serial_size) {
        throw std::invalid_argument("no such objects");
    }
    const std::string peer = "127.0.0.1:" + std::to_string(load.port);
    const std::string inner = "GET http://mail/object HTTP/1.1\r\nHost: mail\r\n\r\n";
    const std::string outer =
        "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " + std::to_string(object) +
        "\r\n\r\n";
    bytes = "RESPMOD icap://" + peer + "/" + load.service + " ICAP/1.0\r\nHost: " + peer +
            "\r\nAllow: 204\r\nEncapsulated: req-hdr=0, res-hdr=" + std::to_string(inner.size()) +
            ", res-body=" + std::to_string(inner.size() + outer.size()) + "\r\n\r\n" + inner + outer;
    const std::size_t heads = bytes.size();
    std::uint32_t noise = 1;
    for (std::size_t left = object; left != 0;) {
        const std::size_t count = std::min(left, load.chunk_size);
        std::array<char, 24> line{};
        bytes.append(line.data(), static_cast<std::size_t>(std::snprintf(line.data(), line.size(), "%zx\r\n", count)));
        if (serial == 0) {
            serial = bytes.size();
        }
        for (std::size_t i = 0; i < count; ++i) {
            noise = noise * 1664525U + 1013904223U;
            bytes.push_back(static_cast<char>(' ' + (noise >> 24U) % 90U));
        }
        bytes.append("\r\n");
        left -= count;
        if (most_at_once == 0) {
            most_at_once = load.write_each_chunk ? bytes.size() - heads : ~std::size_t{0};
        }
    }
    bytes.append("0\r\n\r\n");
}

bool icap_answer_reader::read(std::string_view bytes)
{
    while (!bytes.empty()) {
        if (state_ == state::end) {
            throw std::runtime_error("bytes behind an answer");
        }
        bytes.remove_prefix(state_ == state::skip ? skip(bytes) : line(bytes));
    }
    return state_ == state::end;
}

std::size_t icap_answer_reader::skip(std::string_view bytes)
{
    const std::size_t count = std::min(bytes.size(), skip_);
    skip_ -= count;
    if (skip_ == 0) {
        state_ = state::chunk;
    }
    return count;
}

std::size_t icap_answer_reader::line(std::string_view bytes)
{
    const std::size_t end = bytes.find('\n');
    line_.append(bytes.substr(0, end));
    if (end == std::string_view::npos) {
        return bytes.size();
    }
    if (line_.ends_with('\r')) {
        line_.pop_back();
    }
    take_line();
    line_.clear();
    return end + 1;
}

void icap_answer_reader::take_line()
{
    switch (state_) {
    case state::head:
        take_head_line();
        break;
    case state::chunk:
        if (!line_.empty()) { // the line end of the chunk ahead
            std::from_chars(line_.data(), line_.data() + line_.size(), skip_, 16);
            state_ = skip_ == 0 ? state::end_mark : state::skip;
        }
        break;
    default:
        state_ = line_.empty() ? state::end : state_;
    }
}

void icap_answer_reader::take_head_line()
{
    constexpr std::string_view body = "-body=";
    if (status_ == 0) {
        const std::size_t blank = std::min(line_.find(' '), line_.size() - 1);
        std::from_chars(line_.data() + blank + 1, line_.data() + line_.size(), status_);
        if (status_ == 0) {
            throw std::runtime_error("no answer: " + line_);
        }
    } else if (line_.empty()) {
        state_ = !has_body_ ? state::end : skip_ != 0 ? state::skip : state::chunk;
    } else if (const std::size_t found = line_.find(body);
               line_.starts_with("Encapsulated:") && found != std::string::npos) {
        has_body_ = line_.find("null-body") == std::string::npos;
        std::from_chars(line_.data() + found + body.size(), line_.data() + line_.size(), skip_);
    }
}

icap_asker::icap_asker(std::uint16_t port)
    : socket_(connect_to(port))
{
    const int on = 1; // as the mail add-in does
    (void)::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::fcntl(socket_, F_SETFL, ::fcntl(socket_, F_GETFL) | O_NONBLOCK);
}

icap_asker::~icap_asker()
{
    ::close(socket_);
}

void icap_asker::begin(const icap_request& request, std::uint64_t serial, clock::time_point due)
{
    std::array<char, icap_request::serial_size + 1> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(serial));
    std::copy_n(digits.begin(), serial_.size(), serial_.begin());
    request_ = &request;
    sent_ = 0;
    answer_.restart();
    due_ = due;
    send();
}

void icap_asker::send()
{
    if (request_ == nullptr) {
        return;
    }
    const std::string& bytes = request_->bytes;
    const std::string_view head(bytes.data(), request_->serial);
    const std::string_view tail(bytes.data() + request_->serial + serial_.size(),
                                bytes.size() - request_->serial - serial_.size());
    while (sent_ < bytes.size()) {
        std::array<iovec, 3> parts{};
        std::size_t count = 0;
        std::size_t begin = 0;
        std::size_t left = request_->most_at_once;
        for (const std::string_view part : {head, std::string_view(serial_.data(), serial_.size()), tail}) {
            if (const std::size_t skipped = std::min(part.size(), sent_ - std::min(sent_, begin));
                skipped < part.size() && left != 0) {
                parts[count++] = {const_cast<char*>(part.data()) + skipped, std::min(left, part.size() - skipped)};
                left -= parts[count - 1].iov_len;
            }
            begin += part.size();
        }
        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = count;
        const ssize_t done = ::sendmsg(socket_, &message, MSG_NOSIGNAL);
        if (done < 0 && errno == EAGAIN) {
            return;
        }
        if (done < 0) {
            fail("send");
        }
        sent_ += static_cast<std::size_t>(done);
    }
}

bool icap_asker::receive(std::vector<char>& block)
{
    for (;;) {
        const ssize_t count = ::recv(socket_, block.data(), block.size(), 0);
        if (count < 0 && errno == EAGAIN) {
            return false;
        }
        if (count <= 0) {
            fail(count == 0 ? "the service closed a connection" : "receive");
        }
        if (answer_.read({block.data(), static_cast<std::size_t>(count)})) {
            return true;
        }
    }
}

float icap_asker::milliseconds() const
{
    return std::chrono::duration<float, std::milli>(clock::now() - due_).count();
}

} // namespace bench
