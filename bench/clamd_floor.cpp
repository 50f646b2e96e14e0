#include "bench/clamd_floor.h"

#include "bench/loopback_listener.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace bench {
namespace {

using namespace std::string_view_literals;

/// One connection: commands that end with a zero, and objects in chunks.
class conversation
{
public:
    conversation(int socket, std::chrono::milliseconds pause)
        : socket_(socket)
        , pause_(pause)
    {}

    void serve()
    {
        std::size_t number = 0;
        while (const auto command = read_command()) {
            if (*command == "zVERSION"sv) {
                answer("ClamAV floor\0"sv);
                return;
            }
            if (*command == "zINSTREAM"sv) {
                skip_object();
                std::this_thread::sleep_for(pause_);
                answer(std::to_string(++number) + ": stream: OK" + '\0');
            } else if (*command != "zIDSESSION"sv) {
                throw std::runtime_error("unknown command");
            }
        }
    }

private:
    [[nodiscard]] bool fill()
    {
        const ssize_t count = ::recv(socket_, block_.data(), block_.size(), 0);
        begin_ = 0;
        end_ = count > 0 ? static_cast<std::size_t>(count) : 0;
        return count > 0;
    }

    /// Returns nothing at the end of the connection.
    std::optional<std::string> read_command()
    {
        std::string command;
        for (;;) {
            if (begin_ == end_ && !fill()) {
                return std::nullopt;
            }
            const char byte = block_[begin_++];
            if (byte == '\0') {
                return command;
            }
            command += byte;
        }
    }

    unsigned char read_byte()
    {
        if (begin_ == end_ && !fill()) {
            throw std::runtime_error("end within an object");
        }
        return static_cast<unsigned char>(block_[begin_++]);
    }

    void skip_object()
    {
        for (;;) {
            std::uint32_t size = 0;
            for (int i = 0; i < 4; ++i) {
                size = size << 8U | read_byte();
            }
            if (size == 0) {
                return;
            }
            while (size != 0) {
                if (begin_ == end_ && !fill()) {
                    throw std::runtime_error("end within an object");
                }
                const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(size, end_ - begin_));
                begin_ += count;
                size -= count;
            }
        }
    }

    void answer(std::string_view text) const { (void)::send(socket_, text.data(), text.size(), MSG_NOSIGNAL); }

    int socket_;
    std::chrono::milliseconds pause_;
    std::vector<char> block_ = std::vector<char>(std::size_t{1} << 18U);
    std::size_t begin_ = 0; ///< of what has been received and not been read
    std::size_t end_ = 0;
};

void converse(int socket, std::chrono::milliseconds pause)
{
    try {
        conversation(socket, pause).serve();
    } catch (const std::exception& failure) {
        (void)std::fprintf(stderr, "the stand-in for clamd: %s\n", failure.what());
    }
    ::close(socket);
}

} // namespace

int serve_clamd_floor(std::chrono::milliseconds pause)
{
    int listener = -1;
    const std::uint16_t port = listen_on_loopback(listener);
    if (port == 0) {
        std::perror("the stand-in for clamd: no port");
        return 1;
    }
    announce_port(port);
    for (;;) {
        pollfd readiness{listener, POLLIN, 0};
        (void)::poll(&readiness, 1, -1);
        if (const int made = ::accept(listener, nullptr, nullptr); made >= 0) {
            std::thread(converse, made, pause).detach();
        } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
            std::perror("the stand-in for clamd");
            return 1;
        }
    }
}

} // namespace bench
