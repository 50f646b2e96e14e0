#include "bench/icap_load.h"

#include "bench/sink_peer.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <system_error>
#include <unistd.h>

namespace bench {

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::size_t chunk_size = 32768;
constexpr std::size_t serial_size = 16; ///< digits that make each object another one
constexpr std::size_t block_size = 262144;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// The bytes of one request. Only the serial number of the object changes.
struct request_text
{
    std::string bytes;
    std::size_t serial = 0; ///< offset of the serial number

    explicit request_text(const icap_load& load)
    {
        const std::string peer = "127.0.0.1:" + std::to_string(load.port);
        const std::string inner = "GET http://mail/object HTTP/1.1\r\nHost: mail\r\n\r\n";
        const std::string outer = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
                                  std::to_string(load.object_size) + "\r\n\r\n";
        bytes = "RESPMOD icap://" + peer + "/" + load.service + " ICAP/1.0\r\nHost: " + peer +
                "\r\nAllow: 204\r\nEncapsulated: req-hdr=0, res-hdr=" + std::to_string(inner.size()) +
                ", res-body=" + std::to_string(inner.size() + outer.size()) + "\r\n\r\n" + inner + outer;
        std::uint32_t noise = 1;
        for (std::size_t left = load.object_size; left != 0;) {
            const std::size_t count = std::min(left, chunk_size);
            std::array<char, 24> line{};
            bytes.append(line.data(),
                         static_cast<std::size_t>(std::snprintf(line.data(), line.size(), "%zx\r\n", count)));
            if (serial == 0) {
                serial = bytes.size();
            }
            for (std::size_t i = 0; i < count; ++i) {
                noise = noise * 1664525U + 1013904223U;
                bytes.push_back(static_cast<char>(' ' + (noise >> 24U) % 90U));
            }
            bytes.append("\r\n");
            left -= count;
        }
        bytes.append("0\r\n\r\n");
    }
};

/// Reads one answer: a head, and the chunked body that its Encapsulated announces.
class answer_reader
{
public:
    void restart() { *this = answer_reader(); }
    /// Returns true with the end of the answer. No byte may follow it.
    bool read(std::string_view bytes)
    {
        while (!bytes.empty()) {
            if (state_ == state::end) {
                throw std::runtime_error("bytes behind an answer");
            }
            bytes.remove_prefix(state_ == state::skip ? skip(bytes) : line(bytes));
        }
        return state_ == state::end;
    }
    [[nodiscard]] int status() const noexcept { return status_; }

private:
    enum class state
    {
        head,
        skip,
        chunk,
        end_mark,
        end
    };

    std::size_t skip(std::string_view bytes)
    {
        const std::size_t count = std::min(bytes.size(), skip_);
        skip_ -= count;
        if (skip_ == 0) {
            state_ = state::chunk;
        }
        return count;
    }

    std::size_t line(std::string_view bytes)
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

    void take_line()
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

    void take_head_line()
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

    state state_ = state::head;
    std::string line_;
    int status_ = 0;
    bool has_body_ = false;
    std::size_t skip_ = 0;
};

class client
{
public:
    explicit client(std::uint16_t port)
        : socket_(connect_to(port))
    {
        ::fcntl(socket_, F_SETFL, ::fcntl(socket_, F_GETFL) | O_NONBLOCK);
    }
    client(const client&) = delete;
    client& operator=(const client&) = delete;
    ~client() { ::close(socket_); }

    [[nodiscard]] int socket() const noexcept { return socket_; }

    /// Sends as much of its request as the peer takes. Returns true while some is left.
    bool send(const request_text& text)
    {
        const std::string_view head(text.bytes.data(), text.serial);
        const std::string_view tail(text.bytes.data() + text.serial + serial_size,
                                    text.bytes.size() - text.serial - serial_size);
        while (sent_ < text.bytes.size()) {
            std::array<iovec, 3> parts{};
            std::size_t count = 0;
            std::size_t begin = 0;
            for (const std::string_view part : {head, std::string_view(serial_.data(), serial_.size()), tail}) {
                if (const std::size_t skipped = std::min(part.size(), sent_ - std::min(sent_, begin));
                    skipped < part.size()) {
                    parts[count++] = {const_cast<char*>(part.data()) + skipped, part.size() - skipped};
                }
                begin += part.size();
            }
            msghdr message{};
            message.msg_iov = parts.data();
            message.msg_iovlen = count;
            const ssize_t done = ::sendmsg(socket_, &message, MSG_NOSIGNAL);
            if (done < 0 && errno == EAGAIN) {
                return true;
            }
            if (done < 0) {
                fail("send");
            }
            sent_ += static_cast<std::size_t>(done);
        }
        return false;
    }

    void begin(std::uint64_t serial)
    {
        std::array<char, serial_size + 1> digits{};
        (void)std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(serial));
        std::copy_n(digits.begin(), serial_size, serial_.begin());
        sent_ = 0;
        answer_.restart();
        begun_ = clock_type::now();
    }

    /// Returns true with the end of the answer.
    bool receive(std::vector<char>& block)
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

    [[nodiscard]] int status() const noexcept { return answer_.status(); }
    [[nodiscard]] float milliseconds() const
    {
        return std::chrono::duration<float, std::milli>(clock_type::now() - begun_).count();
    }

private:
    int socket_;
    std::array<char, serial_size> serial_{};
    std::size_t sent_ = ~std::size_t{0}; ///< nothing to send
    answer_reader answer_;
    clock_type::time_point begun_;
};

class generator
{
public:
    explicit generator(const icap_load& load)
        : load_(load)
        , text_(load)
        , poll_(::epoll_create1(0))
        , block_(block_size)
    {
        if (load.object_size < serial_size || load.object_size > chunk_size << 16U) {
            throw std::invalid_argument("no such objects");
        }
    }
    generator(const generator&) = delete;
    generator& operator=(const generator&) = delete;
    ~generator() { ::close(poll_); }

    icap_load_result run()
    {
        for (std::size_t i = 0; i < load_.connections; ++i) {
            clients_.push_back(std::make_unique<client>(load_.port));
        }
        const auto start = clock_type::now();
        end_ = start + load_.time;
        for (const auto& one : clients_) {
            epoll_event wanted{};
            wanted.events = EPOLLIN | EPOLLOUT | EPOLLET;
            wanted.data.ptr = one.get();
            if (::epoll_ctl(poll_, EPOLL_CTL_ADD, one->socket(), &wanted) != 0) {
                fail("epoll_ctl");
            }
            ask(*one);
        }
        while (under_way_ != 0) {
            wait();
        }
        result_.seconds = std::chrono::duration<double>(clock_type::now() - start).count();
        std::sort(result_.latencies.begin(), result_.latencies.end());
        return std::move(result_);
    }

private:
    void ask(client& one)
    {
        if (begun_ >= load_.most_requests || clock_type::now() >= end_) {
            return;
        }
        ++under_way_;
        one.begin(++begun_);
        one.send(text_);
    }

    void wait()
    {
        constexpr int most_events = 256;
        constexpr int patience = 60000;
        std::array<epoll_event, most_events> events{};
        const int count = ::epoll_wait(poll_, events.data(), most_events, patience);
        if (count == 0) {
            throw std::runtime_error("no answer within a minute");
        }
        for (int i = 0; i < count; ++i) {
            const epoll_event& event = events.at(static_cast<std::size_t>(i));
            auto& one = *static_cast<client*>(event.data.ptr);
            if ((event.events & EPOLLOUT) != 0) {
                one.send(text_);
            }
            if ((event.events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0 && one.receive(block_)) {
                --under_way_;
                ++result_.answers[one.status()];
                result_.latencies.push_back(one.milliseconds());
                ask(one);
            }
        }
    }

    icap_load load_;
    request_text text_;
    int poll_;
    std::vector<char> block_;
    std::vector<std::unique_ptr<client>> clients_;
    clock_type::time_point end_;
    std::uint64_t begun_ = 0;
    std::uint64_t under_way_ = 0;
    icap_load_result result_;
};

} // namespace

double icap_load_result::percentile(double share) const
{
    if (latencies.empty()) {
        return 0;
    }
    const auto place = static_cast<std::size_t>(share * static_cast<double>(latencies.size()));
    return latencies[std::min(place, latencies.size() - 1)];
}

icap_load_result run(const icap_load& load)
{
    return generator(load).run();
}

} // namespace bench
