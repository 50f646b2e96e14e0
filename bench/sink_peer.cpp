#include "bench/sink_peer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <netinet/in.h>
#include <optional>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace bench {
namespace {

constexpr std::string_view options_reply = "ICAP/1.0 200 OK\r\nMethods: REQMOD, RESPMOD\r\nISTag: \"bench\"\r\n"
                                           "Preview: 0\r\nEncapsulated: null-body=0\r\n\r\n";

sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

[[noreturn]] void raise(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

bool send_all(int connection, std::string_view text)
{
    return send(connection, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

/// Reads until `pending` contains `marker`. Returns the position behind it, or npos at the end of the connection.
std::size_t read_past(int connection, std::vector<char>& pending, std::string_view marker,
                      std::atomic<std::uint64_t>& received)
{
    for (;;) {
        const auto found = std::string_view(pending.data(), pending.size()).find(marker);
        if (found != std::string_view::npos) {
            return found + marker.size();
        }
        static thread_local char block[65536];
        const auto count = recv(connection, block, sizeof block, 0);
        if (count <= 0) {
            return std::string_view::npos;
        }
        received += static_cast<std::uint64_t>(count);
        pending.insert(pending.end(), block, block + count);
    }
}

/// Discards `count` bytes, those in `pending` first.
bool discard(int connection, std::vector<char>& pending, std::uint64_t count, std::atomic<std::uint64_t>& received)
{
    const auto ready = std::min<std::uint64_t>(pending.size(), count);
    pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(ready));
    count -= ready;
    static thread_local char block[1U << 18U];
    while (count > 0) {
        const auto got = recv(connection, block, std::min<std::uint64_t>(sizeof block, count), 0);
        if (got <= 0) {
            return false;
        }
        received += static_cast<std::uint64_t>(got);
        count -= static_cast<std::uint64_t>(got);
    }
    return true;
}

/// The decimal number that follows the first `name`; nothing when there is none.
std::optional<std::uint64_t> number_after(std::string_view text, std::string_view name)
{
    const auto at = text.find(name);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data() + at + name.size(), text.data() + text.size(), number);
    return error == std::errc() ? std::optional(number) : std::nullopt;
}

} // namespace

sink_peer::sink_peer(kind what, std::uint64_t message_size)
    : kind_(what)
    , message_size_(message_size)
    , listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    auto address = loopback(0);
    socklen_t length = sizeof address;
    if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener_, 64) != 0 || getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        raise("listen on the loopback interface");
    }
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { accept_connections(); });
}

sink_peer::~sink_peer()
{
    shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    for (const int connection : connections_) {
        shutdown(connection, SHUT_RDWR);
    }
    for (auto& server : servers_) {
        server.join();
    }
    for (const int connection : connections_) {
        ::close(connection);
    }
    ::close(listener_);
}

void sink_peer::accept_connections()
{
    for (;;) {
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) {
            return;
        }
        connections_.push_back(connection);
        servers_.emplace_back([this, connection] { serve(connection); });
    }
}

void sink_peer::serve(int connection)
{
    std::vector<char> pending;
    if (kind_ == kind::icap) {
        while (serve_icap_request(connection, pending)) {
        }
        shutdown(connection, SHUT_RDWR);
        return;
    }
    while (discard(connection, pending, message_size_, received_) && send_all(connection, clean_reply)) {
    }
}

bool sink_peer::serve_icap_request(int connection, std::vector<char>& pending)
{
    const auto head_end = read_past(connection, pending, "\r\n\r\n", received_);
    if (head_end == std::string_view::npos) {
        return false;
    }
    const std::string_view head(pending.data(), head_end);
    if (head.starts_with("OPTIONS")) {
        pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(head_end));
        return send_all(connection, options_reply);
    }
    const auto body = number_after(head, "req-body=");
    const auto no_body = number_after(head, "null-body=");
    const bool health = head.find("\r\nX-Health-Test: ") != std::string_view::npos;
    if (body.has_value() == health || no_body.has_value() != health ||
        !discard(connection, pending, head_end + body.value_or(0) + no_body.value_or(0), received_)) {
        return false;
    }
    if (!health && !read_body(connection, pending)) {
        return false;
    }
    ++(health ? health_questions_ : scans_);
    return send_all(connection, clean_reply);
}

/// The body is one chunk: its line, its bytes, and the end mark with the line end ahead of it.
bool sink_peer::read_body(int connection, std::vector<char>& pending)
{
    const auto line_end = read_past(connection, pending, "\r\n", received_);
    if (line_end == std::string_view::npos) {
        return false;
    }
    std::uint64_t size = 0;
    std::from_chars(pending.data(), pending.data() + line_end, size, 16);
    const std::uint64_t rest = size == 0 ? line_end + 2 : line_end + size + 7;
    scanned_bytes_ += size;
    return discard(connection, pending, rest, received_);
}

int connect_to(std::uint16_t port)
{
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto address = loopback(port);
    if (connection < 0 || connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        raise("connect");
    }
    return connection;
}

} // namespace bench
