#include "bench/wire_floor.h"

#include "bench/loopback_listener.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <string_view>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace bench {
namespace {

constexpr std::string_view last_chunk = "\r\n0\r\n\r\n";
constexpr std::string_view answer = "ICAP/1.0 204 No Content\r\nISTag: \"floor\"\r\nEncapsulated: null-body=0\r\n\r\n";

class floor_server
{
public:
    /// Returns the port, or 0.
    std::uint16_t listen()
    {
        const std::uint16_t port = listen_on_loopback(listener_);
        if (port != 0) {
            watch(listener_);
        }
        return port;
    }

    [[noreturn]] void serve()
    {
        std::array<epoll_event, 512> events{};
        for (;;) {
            const int count = ::epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), -1);
            for (int i = 0; i < count; ++i) {
                const int handle = events[static_cast<std::size_t>(i)].data.fd;
                if (handle == listener_) {
                    accept();
                } else {
                    read(handle);
                }
            }
        }
    }

private:
    void watch(int handle)
    {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = handle;
        (void)::epoll_ctl(epoll_, EPOLL_CTL_ADD, handle, &event);
    }

    void accept()
    {
        for (int made = 0; (made = ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK)) >= 0;) {
            const int on = 1;
            (void)::setsockopt(made, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            tails_[made].clear();
            watch(made);
        }
    }

    void read(int handle)
    {
        const ssize_t got = ::recv(handle, buffer_.data(), buffer_.size(), 0);
        if (got <= 0) {
            ::close(handle);
            return;
        }
        const std::string_view bytes(buffer_.data(), static_cast<std::size_t>(got));
        std::string& tail = tails_[handle];
        tail.append(bytes.substr(bytes.size() - std::min(bytes.size(), last_chunk.size())));
        tail.erase(0, tail.size() - std::min(tail.size(), last_chunk.size()));
        if (tail == last_chunk) {
            tail.clear();
            (void)::send(handle, answer.data(), answer.size(), MSG_NOSIGNAL);
        }
    }

    int epoll_ = ::epoll_create1(0);
    int listener_ = -1;
    std::map<int, std::string> tails_; ///< the last bytes of each connection
    std::vector<char> buffer_ = std::vector<char>(std::size_t{1} << 18U);
};

} // namespace

int serve_wire_floor()
{
    floor_server server;
    const std::uint16_t port = server.listen();
    if (port == 0) {
        std::perror("bench_service: no port");
        return 1;
    }
    announce_port(port);
    server.serve();
}

} // namespace bench
